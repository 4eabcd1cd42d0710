// What the doctor asks the session bus: how long it waits, and what it has found out then.

#include "Platform/Loop/RunLoop.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "Tools/Doctor/BusFindings.h"
#include "UserUnitPeer.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <vector>

namespace ToolTest {

using Tools::BusFindings;
using Tools::BusProbe;

namespace {

/// The probe, on a clock of the test's own.
class TheQuestionsToTheBus : public testing::Test {
protected:
    /// What has been found out at the end.
    BusFindings result() {
        loop.runUntil([&] { return !results.empty(); });
        EXPECT_EQ(results.size(), 1U);
        return results.empty() ? BusFindings() : results.back();
    }
    /// Reads what the bus has sent by now.
    void settle() {
        TestSupport::BusPeer().ownerOf("org.freedesktop.DBus");
        loop.processPending();
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    TestSupport::PrivateBus bus{{{"Velkarin.Quenmark.TopFileUploadXpcService", "/bin/false"}}};
    std::vector<BusFindings> results;
    BusProbe probe{[this](const BusFindings& findings) { results.push_back(findings); }};
};

} // namespace

TEST_F(TheQuestionsToTheBus, EndOnceAllOfThemAreAnswered) {
    const UserUnitPeer manager;
    StatusPeer service;
    service.engines = {StatusPeer::engine()};
    probe.start();
    const auto found = result();
    EXPECT_EQ(found.busError, std::nullopt);
    EXPECT_TRUE(found.canLaunchService);
    ASSERT_TRUE(found.unit);
    EXPECT_EQ(found.unit->activeState, "active");
    EXPECT_TRUE(found.isRunning);
    ASSERT_TRUE(found.status);
    EXPECT_EQ(found.status->engines.size(), 1U);
    service.announce();
    settle();
    clock.advance(BusProbe::limit);
    settle();
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(TheQuestionsToTheBus, EndWhereTheBusDoesNotAnswerIn15Seconds) {
    probe.start();
    clock.advance(std::chrono::milliseconds(14'999));
    EXPECT_TRUE(results.empty());
    clock.advance(std::chrono::milliseconds(1));
    // Before anything of the bus is read.
    loop.processPending();
    const auto found = result();
    EXPECT_EQ(found.busError, "the session bus does not answer in time");
    EXPECT_FALSE(found.isRunning);
}

TEST_F(TheQuestionsToTheBus, GiveTheRestWhereTheServiceDoesNotAnswer) {
    StatusPeer service;
    service.answer = [](sd_bus_message*) { return 1; };
    probe.start();
    ASSERT_TRUE(loop.runUntil([&] { return service.reads == 1; }));
    settle();
    EXPECT_TRUE(results.empty());
    clock.advance(std::chrono::seconds(10));
    const auto found = result();
    EXPECT_EQ(found.busError, std::nullopt);
    EXPECT_TRUE(found.canLaunchService);
    EXPECT_TRUE(found.isRunning);
    EXPECT_FALSE(found.status);
    EXPECT_EQ(found.statusError, "the service does not answer in time");
}

TEST_F(TheQuestionsToTheBus, GiveTheRestWhereTheUserManagerDoesNotAnswer) {
    TestSupport::BusPeer manager;
    int calls = 0;
    ASSERT_GE(sd_bus_add_object(
                  manager.handle(), nullptr, "/org/freedesktop/systemd1/unit/quenmark_2eservice",
                  [](sd_bus_message*, void* count, sd_bus_error*) { return ++*static_cast<int*>(count); }, &calls),
              0);
    ASSERT_GE(sd_bus_request_name(manager.handle(), "org.freedesktop.systemd1", 0), 0);
    StatusPeer service;
    probe.start();
    ASSERT_TRUE(loop.runUntil([&] { return calls > 0 && service.reads == 1; }));
    settle();
    EXPECT_TRUE(results.empty());
    clock.advance(BusProbe::limit);
    const auto found = result();
    EXPECT_EQ(found.busError, std::nullopt);
    EXPECT_TRUE(found.canLaunchService);
    EXPECT_TRUE(found.isRunning);
    EXPECT_TRUE(found.status);
}

TEST_F(TheQuestionsToTheBus, EndWithTheBus) {
    StatusPeer service;
    service.answer = [this](sd_bus_message*) {
        bus.kill();
        return 1;
    };
    probe.start();
    const auto found = result();
    EXPECT_EQ(found.busError, "the session bus is lost");
    EXPECT_FALSE(found.canLaunchService);
    EXPECT_FALSE(found.isRunning);
}

TEST_F(TheQuestionsToTheBus, EndWhereThereIsNone) {
    const TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
    probe.start();
    EXPECT_EQ(result().busError, "there is no session bus (No such file or directory)");
}

} // namespace ToolTest
