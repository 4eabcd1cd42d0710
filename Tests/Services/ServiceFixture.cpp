#include "ServiceFixture.h"

#include "Platform/UrlLoading/UrlSession.h"

#include <algorithm>

namespace ServicesTests {

using Platform::UrlSession;
using Platform::UrlSessionConfiguration;

ServiceFixture::ServiceFixture(Time time)
    : loop(time == Time::Manual ? Platform::RunLoop(clock) : Platform::RunLoop()) {}

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
