// Calls to a service that the bus launches.

#include "Platform/Ipc/ServiceCall.h"

#include "ListenerFixture.h"

#include <systemd/sd-bus.h>

namespace {

using namespace Platform;
using namespace std::chrono_literals;
using Ipc::CallFailure;

class ACallToAService : public testing::Test {
protected:
    static const inline Ipc::ServiceAddress worker{"org.example.Worker", "/org/example/Worker"};

    /// Calls and runs the loop until the handler was called; nil where it was not in time.
    std::optional<std::optional<CallFailure>> call(const Ipc::ServiceAddress& service, const std::string& method,
                                                   Duration limit = 20s) {
        std::optional<std::optional<CallFailure>> result;
        const auto pending = Ipc::callService(service, "org.example.Work", method, std::nullopt, limit,
                                              [&](const std::optional<CallFailure>& failure) {
                                                  EXPECT_EQ(Queue::current(), Queue::main());
                                                  EXPECT_FALSE(result);
                                                  result = failure;
                                              });
        EXPECT_FALSE(result);
        loop.runUntil([&] { return result.has_value(); });
        return result;
    }

    RunLoop loop;
    TestSupport::PrivateBus bus{{{"org.example.Worker", IPC_TEST_SERVICE},
                                 {"org.example.Absent", "/nonexistent/service"},
                                 {"org.example.Brief", "/bin/false"}}};
};

TEST_F(ACallToAService, LaunchesIt) {
    const auto result = call(worker, "Work");
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, std::nullopt);
}

TEST_F(ACallToAService, ReportsTheReplyOfTheService) {
    const auto broken = call(worker, "Break");
    ASSERT_TRUE(broken);
    EXPECT_EQ(*broken, (CallFailure{"org.freedesktop.DBus.Error.Failed", "it is broken"}));
    const auto unknown = call(worker, "Missing");
    ASSERT_TRUE(unknown && *unknown);
    EXPECT_EQ((*unknown)->name, "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(ACallToAService, ReportsThatNobodyKnowsTheService) {
    const auto result = call({"org.example.Nobody", "/org/example/Nobody"}, "Work");
    ASSERT_TRUE(result && *result);
    EXPECT_EQ((*result)->name, "org.freedesktop.DBus.Error.ServiceUnknown");
}

TEST_F(ACallToAService, ReportsThatTheServiceCannotBeLaunched) {
    const auto absent = call({"org.example.Absent", "/org/example/Absent"}, "Work");
    ASSERT_TRUE(absent && *absent);
    EXPECT_EQ((*absent)->name, "org.freedesktop.DBus.Error.Spawn.ExecFailed");
    const auto brief = call({"org.example.Brief", "/org/example/Brief"}, "Work");
    ASSERT_TRUE(brief && *brief);
    EXPECT_EQ((*brief)->name, "org.freedesktop.DBus.Error.Spawn.ChildExited");
}

TEST_F(ACallToAService, ReportsThatThereIsNoBus) {
    bus.kill();
    const auto result = call(worker, "Work");
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, (CallFailure{"", "there is no session bus (Connection refused)"}));
}

TEST_F(ACallToAService, EndsAfterItsTimeoutWithoutAReply) {
    TestSupport::BusPeer silent;
    ASSERT_GE(sd_bus_request_name(silent.handle(), "org.example.Silent", 0), 0);
    const auto unread = [](sd_bus_message*, void*, sd_bus_error*) { return 1; };
    ASSERT_GE(sd_bus_add_object(silent.handle(), nullptr, "/org/example/Silent", unread, nullptr), 0);
    const auto result = call({"org.example.Silent", "/org/example/Silent"}, "Work", 20ms);
    ASSERT_TRUE(result && *result);
    EXPECT_EQ((*result)->name, "org.freedesktop.DBus.Error.NoReply");
}

TEST_F(ACallToAService, EndsWithTheBus) {
    TestSupport::BusPeer silent;
    ASSERT_GE(sd_bus_request_name(silent.handle(), "org.example.Silent", 0), 0);
    const auto killBus = [](sd_bus_message*, void* given, sd_bus_error*) {
        static_cast<TestSupport::PrivateBus*>(given)->kill();
        return 1;
    };
    ASSERT_GE(sd_bus_add_object(silent.handle(), nullptr, "/org/example/Silent", killBus, &bus), 0);
    const auto result = call({"org.example.Silent", "/org/example/Silent"}, "Work");
    ASSERT_TRUE(result && *result);
    EXPECT_NE((*result)->text, "");
}

TEST_F(ACallToAService, ReportsNothingMoreOnceItIsDropped) {
    bool called = false;
    auto pending = Ipc::callService(worker, "org.example.Work", "Work", std::nullopt, 20s,
                                    [&](const std::optional<CallFailure>&) { called = true; });
    pending.reset();
    const auto other = call(worker, "Work");
    ASSERT_TRUE(other);
    EXPECT_FALSE(called);
}

} // namespace
