// The address of the service, and how paths are joined to it.

#include "Services/ServiceRoot.h"

#include "Platform/DeploymentSettings.h"
#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"

#include <gtest/gtest.h>

#include <string>

namespace ServicesTests {

namespace {

class TheServiceRoot : public ::testing::Test {
protected:
    TheServiceRoot() { setHost("service.example:8080"); }
    ~TheServiceRoot() override { Platform::DeploymentSettings::replace(std::nullopt); }

    static void setHost(const std::string& host) {
        Platform::DeploymentSettings::replace(Platform::DeploymentSettings{.serviceHost = host});
    }
    /// The URL of a path as both connectors form it.
    static std::optional<std::string> url(const std::string& path) {
        const auto url = Quenmark::absoluteURL(path);
        EXPECT_EQ(std::make_shared<Quenmark::RestConnector>()->getAbsoluteURL(path), url);
        EXPECT_EQ(std::make_shared<Quenmark::RestConnector_Old>()->getAbsoluteURL(path), url);
        return url ? std::optional(url->absoluteString()) : std::nullopt;
    }
};

TEST_F(TheServiceRoot, IsPlainHttpToTheDeploymentsHost) {
    EXPECT_EQ(Quenmark::serviceRoot(), "http://service.example:8080/QuenmarkRestService/");
    setHost("[::1]");
    EXPECT_EQ(Quenmark::serviceRoot(), "http://[::1]/QuenmarkRestService/");
}

TEST_F(TheServiceRoot, IsJoinedWithAPathAsItStands) {
    const std::string root = "http://service.example:8080/QuenmarkRestService/";
    EXPECT_EQ(url("Uploads.svc/GetTopFileUpload"), root + "Uploads.svc/GetTopFileUpload");
    EXPECT_EQ(url(""), root);
    EXPECT_EQ(url("/Uploads.svc"), root + "/Uploads.svc");
    EXPECT_EQ(url("a%20b?x=1&y=2#z"), root + "a%20b?x=1&y=2#z");
}

TEST_F(TheServiceRoot, HasNoHostWhileTheDeploymentsIsNotKnown) {
    setHost("");
    const auto url = Quenmark::absoluteURL("Uploads.svc/GetTopFileUpload");
    ASSERT_TRUE(url);
    EXPECT_FALSE(url->hasHost());
}

TEST_F(TheServiceRoot, FormsNoUrlWithACharacterThatAUrlMayNotHold) {
    for (const auto* path :
         {"a b", "a\tb", "a\\b", "a\"b", "a<b", "é", "Downloads.svc/Failed\xEF\xBF\xBC", "a%2", "a%"})
        EXPECT_EQ(url(path), std::nullopt) << path;
}

} // namespace

} // namespace ServicesTests
