// The address of the service, and how paths are joined to it.

#include "Services/ServiceRoot.h"

#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"

#include <gtest/gtest.h>

#include <string>

namespace ServicesTests {

namespace {

class TheServiceRoot : public ::testing::Test {
protected:
    /// The URL of a path as both connectors form it.
    std::optional<std::string> url(const std::string& path) const {
        const auto url = Quenmark::absoluteURL(path, settings);
        const Quenmark::ServiceContext context{.settings = [this] { return settings; }};
        EXPECT_EQ(std::make_shared<Quenmark::RestConnector>(context)->getAbsoluteURL(path), url);
        EXPECT_EQ(std::make_shared<Quenmark::RestConnector_Old>(context)->getAbsoluteURL(path), url);
        return url ? std::optional(url->absoluteString()) : std::nullopt;
    }

    Platform::DeploymentSettings settings{.serviceHost = "service.example:8080"};
};

TEST_F(TheServiceRoot, IsPlainHttpToTheDeploymentsHostByDefault) {
    EXPECT_EQ(Quenmark::serviceRoot(settings), "http://service.example:8080/QuenmarkRestService/");
    settings.serviceHost = "[::1]";
    EXPECT_EQ(Quenmark::serviceRoot(settings), "http://[::1]/QuenmarkRestService/");
}

TEST_F(TheServiceRoot, IsHttpsWhereTheDeploymentSaysSo) {
    settings.serviceScheme = "https";
    EXPECT_EQ(url("Uploads.svc"), "https://service.example:8080/QuenmarkRestService/Uploads.svc");
}

TEST_F(TheServiceRoot, IsJoinedWithAPathAsItStands) {
    const std::string root = "http://service.example:8080/QuenmarkRestService/";
    EXPECT_EQ(url("Uploads.svc/GetTopFileUpload"), root + "Uploads.svc/GetTopFileUpload");
    EXPECT_EQ(url(""), root);
    EXPECT_EQ(url("/Uploads.svc"), root + "/Uploads.svc");
    EXPECT_EQ(url("a%20b?x=1&y=2#z"), root + "a%20b?x=1&y=2#z");
}

TEST_F(TheServiceRoot, HasNoHostWhileTheDeploymentsIsNotKnown) {
    settings.serviceHost = "";
    const auto url = Quenmark::absoluteURL("Uploads.svc/GetTopFileUpload", settings);
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
