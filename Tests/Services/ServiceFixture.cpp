#include "ServiceFixture.h"

#include "Platform/DeploymentSettings.h"
#include "Platform/NetworkFlags.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <algorithm>

namespace ServicesTests {

using Platform::DeploymentSettings;
using Platform::UrlSession;
using Platform::UrlSessionConfiguration;

ServiceFixture::ServiceFixture(Time time)
    : loop(time == Time::Manual ? Platform::RunLoop(clock) : Platform::RunLoop()) {
    DeploymentSettings::replace(DeploymentSettings{.serviceHost = server.host(), .appKitVersionNumber = release10_10});
    setNetworkFlags(Platform::NetworkFlag::Reachable);
}

ServiceFixture::~ServiceFixture() {
    Platform::NetworkTarget::replaceSource({});
    DeploymentSettings::replace(std::nullopt);
}

void ServiceFixture::setRelease(double number) {
    auto settings = DeploymentSettings::current();
    settings.appKitVersionNumber = number;
    DeploymentSettings::replace(settings);
}

void ServiceFixture::setHost(const std::string& host) {
    auto settings = DeploymentSettings::current();
    settings.serviceHost = host;
    DeploymentSettings::replace(settings);
}

void ServiceFixture::setNetworkFlags(std::optional<std::uint32_t> flags) {
    Platform::NetworkTarget::replaceSource([flags] { return flags; });
}

std::vector<TestSupport::HttpRequest> ServiceFixture::everyRequest() {
    const std::string target = "/marker";
    for (int marker = 0; marker < 2; ++marker) {
        server.enqueue(target, TestSupport::HttpReply::ok());
        Platform::UrlRequest request;
        request.url = Platform::Url::fromString(server.url(target));
        bool ended = false;
        UrlSession::sessionWithConfiguration(UrlSessionConfiguration::defaultSessionConfiguration())
            ->dataTaskWithRequest(request,
                                  [&](const auto&, const auto&, const auto& error) {
                                      EXPECT_FALSE(error.has_value());
                                      ended = true;
                                  })
            ->resume();
        EXPECT_TRUE(runUntil([&] { return ended; }));
    }
    auto requests = server.requests();
    std::erase_if(requests, [&](const auto& request) { return request.target == target; });
    return requests;
}

} // namespace ServicesTests
