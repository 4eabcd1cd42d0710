// Reading the status over a real bus, from a program that answers as a test says.

#include "Tools/Status/StatusClient.h"

#include "Platform/Loop/RunLoop.h"
#include "StatusPeer.h"
#include "Support/PrivateBus.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <optional>

namespace ToolTest {

namespace {

using namespace Tools;

class AStatusClient : public testing::Test {
protected:
    StatusClient::Handlers handlers() {
        return {[this](auto status) { readings.push_back(std::move(status)); },
                [this](const Failure& failure) { failures.push_back(failure); }};
    }
    bool waitForReading(std::size_t count) {
        return loop.runUntil([&] { return readings.size() >= count || !failures.empty(); }) && failures.empty();
    }
    /// The only failure: its status and its text.
    std::string failure() {
        loop.runUntil([&] { return !failures.empty(); });
        if (failures.size() != 1)
            return std::to_string(failures.size()) + " failures";
        return std::to_string(static_cast<int>(failures[0].status())) + " " + failures[0].what();
    }
    /// Turns the loop until everything that was sent has been taken.
    void settle() {
        TestSupport::BusPeer other;
        for (int turn = 0; turn < 3; ++turn)
            other.ownerOf("org.freedesktop.DBus");
    }

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    TestSupport::PrivateBus bus;
    std::vector<std::optional<ServiceStatus>> readings;
    std::vector<Failure> failures;
    StatusClient client{handlers()};
};

TEST_F(AStatusClient, ReadsTheStatus) {
    StatusPeer service;
    service.engines = {StatusPeer::engine("polling")};
    client.start();
    ASSERT_TRUE(waitForReading(1)) << failure();
    ASSERT_TRUE(readings[0]);
    EXPECT_EQ(readings[0]->version, "1.0.0");
    EXPECT_EQ(readings[0]->engines[0].state, "polling");
    EXPECT_EQ(service.reads, 1);
}

TEST_F(AStatusClient, ReadsAnewAtEachChangeAndWhereItIsToldTo) {
    StatusPeer service;
    client.start();
    ASSERT_TRUE(waitForReading(1));
    StatusPeer::set(service.properties, "ItemsReceived", std::uint64_t{13});
    service.announce();
    ASSERT_TRUE(waitForReading(2));
    EXPECT_EQ(readings[1]->itemsReceived, 13U);
    client.readAgain();
    ASSERT_TRUE(waitForReading(3));
    settle();
    EXPECT_EQ(service.reads, 3);
}

TEST_F(AStatusClient, ReadsOnceMoreForChangesWhileItReads) {
    StatusPeer service;
    std::vector<TestSupport::BusPeer::Message> calls;
    service.answer = [&](sd_bus_message* call) {
        calls.emplace_back(sd_bus_message_ref(call), [](sd_bus_message* m) { sd_bus_message_unref(m); });
        return 1;
    };
    client.start();
    ASSERT_TRUE(loop.runUntil([&] { return calls.size() == 1; }));
    for (int change = 0; change < 20; ++change)
        service.announce();
    client.readAgain();
    settle();
    EXPECT_EQ(calls.size(), 1U);
    service.answer = nullptr;
    EXPECT_GE(sd_bus_reply_method_return(calls[0].get(), "a{sv}", 0), 0);
    EXPECT_EQ(failure(), "70 the service's status cannot be read: Version is missing");
}

TEST_F(AStatusClient, TakesWhatAnotherProgramAnnouncesForNothing) {
    StatusPeer service;
    StatusPeer other;
    client.start();
    ASSERT_TRUE(waitForReading(1));
    other.announce();
    settle();
    EXPECT_EQ(service.reads, 1);
    EXPECT_EQ(other.reads, 0);
}

TEST_F(AStatusClient, WaitsForAServiceThatDoesNotRun) {
    client.start();
    ASSERT_TRUE(waitForReading(1));
    EXPECT_EQ(readings[0], std::nullopt);
    client.readAgain();
    clock.advance(StatusClient::replyTimeout * 2);
    settle();
    EXPECT_EQ(readings.size(), 1U);
    StatusPeer service;
    ASSERT_TRUE(waitForReading(2));
    EXPECT_TRUE(readings[1]);
    service.leave();
    ASSERT_TRUE(waitForReading(3));
    EXPECT_EQ(readings[2], std::nullopt);
    clock.advance(StatusClient::replyTimeout * 2);
    settle();
    EXPECT_TRUE(failures.empty());
}

TEST_F(AStatusClient, LeavesOutWhatASuccessorHasTakenThePlaceOf) {
    std::vector<TestSupport::BusPeer::Message> calls;
    StatusPeer service;
    service.answer = [&](sd_bus_message* call) {
        calls.emplace_back(sd_bus_message_ref(call), [](sd_bus_message* m) { sd_bus_message_unref(m); });
        return 1;
    };
    client.start();
    ASSERT_TRUE(loop.runUntil([&] { return calls.size() == 1; }));
    service.leave();
    ASSERT_TRUE(waitForReading(1));
    EXPECT_GE(sd_bus_reply_method_errorf(calls[0].get(), "org.example.Late", "late"), 0);
    settle();
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(readings.size(), 1U);
}

TEST_F(AStatusClient, TakesAServiceThatLeavesWithoutAnAnswerForOneThatDoesNotRun) {
    std::optional<StatusPeer> service(std::in_place);
    bool isAsked = false;
    service->answer = [&](sd_bus_message*) {
        isAsked = true;
        return 1;
    };
    client.start();
    ASSERT_TRUE(loop.runUntil([&] { return isAsked; }));
    service.reset();
    ASSERT_TRUE(waitForReading(1)) << failure();
    EXPECT_EQ(readings[0], std::nullopt);
    settle();
    EXPECT_TRUE(failures.empty());
}

TEST_F(AStatusClient, EndsWhereTheServiceDoesNotAnswerInTime) {
    StatusPeer service;
    service.answer = [](sd_bus_message*) { return 1; };
    client.start();
    ASSERT_TRUE(loop.runUntil([&] { return service.reads == 1; }));
    clock.advance(std::chrono::milliseconds(9999));
    settle();
    EXPECT_TRUE(failures.empty());
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(failure(), "75 the service does not answer in time");
    service.leave();
    settle();
    EXPECT_TRUE(readings.empty()) << "nothing follows a failure";
}

TEST_F(AStatusClient, EndsWhereTheBusDoesNotAnswerInTime) {
    client.start();
    clock.advance(StatusClient::replyTimeout);
    // Before anything of the bus is read.
    loop.processPending();
    EXPECT_EQ(failure(), "75 the session bus does not answer in time");
}

TEST_F(AStatusClient, EndsWhereTheServiceHasNoStatus) {
    StatusPeer service;
    service.answer = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.UnknownObject", "no such object");
    };
    client.start();
    EXPECT_EQ(failure(), "70 the service does not tell its status: no such object");
}

TEST_F(AStatusClient, EndsWhereTheAnswerIsNoStatus) {
    StatusPeer service;
    service.answer = [](sd_bus_message* call) { return sd_bus_reply_method_return(call, "s", "running"); };
    client.start();
    EXPECT_EQ(failure(), "70 the service's status cannot be read: the status is no dictionary");
}

TEST_F(AStatusClient, EndsWhereThereIsNoBus) {
    const TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
    client.start();
    EXPECT_EQ(failure(), "69 there is no session bus (No such file or directory)");
}

TEST_F(AStatusClient, EndsWithItsBus) {
    client.start();
    ASSERT_TRUE(waitForReading(1));
    bus.kill();
    EXPECT_EQ(failure(), "69 the session bus is lost");
    EXPECT_EQ(readings.size(), 1U);
}

} // namespace

} // namespace ToolTest
