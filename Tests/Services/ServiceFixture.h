#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/RunLoop.h"
#include "Services/OperationCall.h"
#include "Services/ServiceContext.h"
#include "Support/HttpServer.h"
#include "Support/LogCapture.h"
#include "Support/Releases.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryHome.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ServicesTests {

using TestSupport::release10_10;
using TestSupport::release10_7;

/// The operation by which these tests drive a connector.
inline constexpr const char* pollPath = "Uploads.svc/GetTopFileUpload";

/// A client of a real web server on this machine: `context` names it as the service's host and counts the network as
/// reachable, the log is taken, and the home directory is an empty one.
class ServiceFixture : public ::testing::Test {
protected:
    /// Whether the loop goes by the machine's clock, or by `clock`, which the test moves.
    enum class Time { Real, Manual };

    explicit ServiceFixture(Time time = Time::Real);

    /// The published release, from here on.
    void setRelease(double number) { settings.appKitVersionNumber = number; }
    /// Whether the network can be reached, from here on.
    void setReachable(bool isReachable) { reachable = isReachable; }
    /// Performs the operation in `context`.
    template <class Query, class Response, class Handler>
    void perform(const Quenmark::Operation<Query, Response>& row, const std::type_identity_t<Query>& query,
                 Handler handler) {
        Quenmark::perform(row, query, std::move(handler), context);
    }

    /// Turns of the loop until the condition holds; whether it came to hold.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition) { return loop.runUntil(condition); }
    /// The requests that have come to the server, after two more that the test makes itself, over the same transport
    /// and one after the other, have come and gone: whatever was sent before is among them.
    std::vector<TestSupport::HttpRequest> everyRequest();

    Platform::ManualClock clock;
    Platform::RunLoop loop;
    TestSupport::HttpServer server;
    Platform::DeploymentSettings settings{.serviceHost = server.host(), .appKitVersionNumber = release10_10};
    bool reachable = true;
    const Quenmark::ServiceContext context{[this] { return settings; },
                                           [this] { return reachable ? Platform::NetworkFlag::Reachable : 0; }};
    TestSupport::LogCapture log;
    TestSupport::TemporaryHome home;
    TestSupport::ScopedEnvironment environment;
};

/// As `ServiceFixture`, on the clock that the test moves.
class ManualTimeFixture : public ServiceFixture {
protected:
    ManualTimeFixture() : ServiceFixture(Time::Manual) {}
};

} // namespace ServicesTests
