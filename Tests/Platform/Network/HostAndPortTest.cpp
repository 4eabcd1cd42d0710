#include "Platform/Network/HostAndPort.h"

#include <gtest/gtest.h>

namespace Platform {

namespace {

TEST(AHostAndPort, AreSplitAtTheColonBehindTheHost) {
    const auto parts = HostAndPort::split("host.example:8080");
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->host, "host.example");
    EXPECT_EQ(parts->port, "8080");
    EXPECT_FALSE(parts->isBracketed);
    EXPECT_EQ(HostAndPort::split("host")->port, std::nullopt);
    EXPECT_EQ(HostAndPort::split("host:")->port, "");
    EXPECT_EQ(HostAndPort::split(":80")->host, "");
    EXPECT_EQ(HostAndPort::split("")->host, "");
}

TEST(AHostAndPort, MayHaveAnAddressInBrackets) {
    const auto parts = HostAndPort::split("[::1]:80");
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->host, "::1");
    EXPECT_EQ(parts->port, "80");
    EXPECT_TRUE(parts->isBracketed);
    EXPECT_EQ(HostAndPort::split("[::1]")->port, std::nullopt);
    EXPECT_EQ(HostAndPort::split("[]")->host, "");
    EXPECT_FALSE(HostAndPort::split("[::1"));
    EXPECT_FALSE(HostAndPort::split("[::1]x"));
    EXPECT_FALSE(HostAndPort::split("["));
}

TEST(AHostAndPort, AreValidWhereARequestCanBeSentThere) {
    for (const char* text : {"host", "a.example.:65535", "a_b-c.d9", "127.0.0.1:1", "[fe80::1]:80", "9a"})
        EXPECT_TRUE(HostAndPort::split(text)->isValid()) << text;
    for (const char* text : {"", ":80", "host:", "host:0", "host:65536", "host:8x", "host:+1", "a b", "-a", "a-",
                             "a..b", ".", "1.2.3", "256.1.1.1", "[]", "[127.0.0.1]", "[host]", "::1", "h\xC3\xA4"})
        EXPECT_FALSE(HostAndPort::split(text)->isValid()) << text;
}

TEST(AHostAndPort, AreLoopbackByNameOrAddress) {
    for (const char* text : {"localhost", "LocalHost.:80", "a.localhost", "127.0.0.1", "127.9.9.9:80", "[::1]:80"})
        EXPECT_TRUE(HostAndPort::split(text)->isLoopback()) << text;
    for (const char* text : {"host", "localhost.example", "128.0.0.1", "[::2]", "[127.0.0.1]", ""})
        EXPECT_FALSE(HostAndPort::split(text)->isLoopback()) << text;
}

} // namespace

} // namespace Platform
