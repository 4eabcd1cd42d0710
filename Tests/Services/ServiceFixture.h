#pragma once

#include "Platform/Clock.h"
#include "Platform/RunLoop.h"
#include "Support/HttpServer.h"
#include "Support/LogCapture.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ServicesTests {

/// Release numbers on either side of the one from which on the session connector is used.
inline constexpr double release10_10 = 1343.0;
inline constexpr double release10_7 = 1138.6;

/// A client of a real web server on this machine: the deployment names it as the service's host, the network counts as
/// reachable, the log is taken, and the home directory is an empty one.
class ServiceFixture : public ::testing::Test {
protected:
    /// Whether the loop goes by the machine's clock, or by `clock`, which the test moves.
    enum class Time { Real, Manual };

    explicit ServiceFixture(Time time = Time::Real);
    ~ServiceFixture() override;

    /// What the deployment publishes as the release, from here on.
    static void setRelease(double number);
    /// The deployment's host, with its port, from here on.
    static void setHost(const std::string& host);
    /// The flags that the network has from here on; nil when they cannot be read.
    static void setNetworkFlags(std::optional<std::uint32_t> flags);

    /// Turns of the loop until the condition holds; whether it came to hold.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition) { return loop.runUntil(condition); }
    /// The requests that have come to the server, after two more that the test makes itself, over the same transport
    /// and one after the other, have come and gone: whatever was sent before is among them.
    std::vector<TestSupport::HttpRequest> everyRequest();

    Platform::ManualClock clock;
    Platform::RunLoop loop;
    TestSupport::HttpServer server;
    TestSupport::LogCapture log;
    TestSupport::TemporaryDirectory home;
    TestSupport::ScopedEnvironment environment{{"HOME", home.path()}};
};

/// As `ServiceFixture`, on the clock that the test moves.
class ManualTimeFixture : public ServiceFixture {
protected:
    ManualTimeFixture() : ServiceFixture(Time::Manual) {}
};

} // namespace ServicesTests
