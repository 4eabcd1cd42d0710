// Addresses to listen on.

#include "WebService/Http/Listener.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

namespace webservice {

TEST(AListenAddress, IsHostAndPortOrAPortOnLoopback) {
    EXPECT_EQ(parseListenAddress("127.0.0.1:8080").host, "127.0.0.1");
    EXPECT_EQ(parseListenAddress("127.0.0.1:8080").port, "8080");
    EXPECT_EQ(parseListenAddress("[::1]:0").host, "::1");
    EXPECT_EQ(parseListenAddress("localhost:65535").host, "localhost");
    EXPECT_EQ(parseListenAddress("8080").host, "127.0.0.1");
}

TEST(AListenAddress, IsRefusedWhenMalformed) {
    for (const char* text : {"", ":", "host", "host:", ":80", "h:65536", "h:-1", "h:80x", "::1:80", "[]:80"})
        EXPECT_THROW(parseListenAddress(text), std::invalid_argument) << text;
}

TEST(AListener, UsesAFreePortAndReportsIt) {
    boost::asio::io_context context;
    const auto first = listenOn(context, {.host = "127.0.0.1", .port = "0"});
    const std::string address = addressText(first.local_endpoint());
    EXPECT_TRUE(address.starts_with("127.0.0.1:")) << address;
    EXPECT_THROW(listenOn(context, parseListenAddress(address)), boost::system::system_error);
}

} // namespace webservice
