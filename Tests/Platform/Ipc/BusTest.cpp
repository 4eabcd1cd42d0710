// A connection to the session bus by itself: what it refuses, what it reports, and what exceptions become that leave
// a call.

#include "Platform/Ipc/Bus.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Platform::Ipc;
using Owners = std::vector<std::pair<std::string, std::optional<std::string>>>;

class ABus : public testing::Test {
protected:
    BusCallbacks callbacks() {
        BusCallbacks made;
        made.failed = [this](const std::string& reason) { failures.push_back(reason); };
        made.peerSent = [this](const std::string& peer) { peers.push_back(peer); };
        made.called = [this](const IncomingCall& call) { called(call); };
        made.ownerChanged = [this](const std::string& name, const auto& owner) { owners.emplace_back(name, owner); };
        return made;
    }
    /// The failure of a call; its name is "none" where it succeeds.
    CallFailure failureOf(const BusTarget& target, std::optional<Value> argument = std::nullopt) {
        std::optional<Bus::Reply> reply;
        own.call(target, std::move(argument), std::chrono::seconds(20),
                 [&](Bus::Reply received) { reply = std::move(received); });
        loop.runUntil([&] { return reply.has_value(); });
        const auto* failure = reply ? std::get_if<CallFailure>(&*reply) : nullptr;
        return failure != nullptr ? *failure : CallFailure{"none", ""};
    }

    Platform::RunLoop loop;
    TestSupport::PrivateBus daemon;
    std::vector<std::string> failures;
    std::vector<std::string> peers;
    Owners owners;
    std::function<void(const IncomingCall&)> called = [](const IncomingCall& call) { call.reply(); };
    Bus own{callbacks()};
    const BusObject object{"/org/example/Own", "org.example.Own", {{"Work", "", {}, false}}};
    const BusTarget itself{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"};
};

TEST_F(ABus, IsOpenUntilItFailsAndFailsOnce) {
    EXPECT_FALSE(own.isOpen());
    ASSERT_TRUE(own.open());
    EXPECT_TRUE(own.isOpen());
    own.exportObject({"no path", "org.example.Own", {}});
    EXPECT_FALSE(own.isOpen());
    own.watchOwner("it's");
    own.claimName("nodots");
    EXPECT_EQ(failures, std::vector<std::string>{"the object no path cannot be exported (Invalid argument)"});
    bool answered = false;
    own.call(itself, std::nullopt, std::chrono::seconds(1), [&](const auto&) { answered = true; });
    own.callBus("GetNameOwner", "a.b", [&](const auto&) { answered = true; });
    own.startService("a.b", [&](const auto&) { answered = true; });
    EXPECT_TRUE(own.send(itself, "x"));
    loop.runOnce(Platform::Duration::zero());
    EXPECT_FALSE(answered);
}

TEST_F(ABus, FailsWhereANameCannotBeWatchedOrClaimed) {
    ASSERT_TRUE(own.open());
    own.watchOwner("it's");
    EXPECT_EQ(failures, std::vector<std::string>{"the owners of bus names cannot be watched (Invalid argument)"});
    Bus other(callbacks());
    ASSERT_TRUE(other.open());
    other.claimName("nodots");
    EXPECT_EQ(failures.back(), "the bus name nodots cannot be claimed (Invalid argument)");
}

TEST_F(ABus, IsNotOpenedWhereThereIsNone) {
    const TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
    const auto opened = own.open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error(), "there is no session bus (No such file or directory)");
    EXPECT_FALSE(own.isOpen());
}

TEST_F(ABus, RefusesACallThatCannotBeMade) {
    ASSERT_TRUE(own.open());
    EXPECT_EQ(failureOf(itself).name, "none");
    BusTarget nowhere = itself;
    nowhere.objectPath = "no path";
    const CallFailure expected{"org.freedesktop.DBus.Error.InvalidArgs", "a call cannot be made (Invalid argument)"};
    EXPECT_EQ(failureOf(nowhere), expected);
    EXPECT_EQ(failureOf(itself, Value("\xFF")),
              (CallFailure{"org.freedesktop.DBus.Error.InvalidArgs",
                           "byte 0 of a string is zero or no part of well-formed UTF-8"}));
    const auto sent = own.send(nowhere, "x");
    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error(), "a call cannot be made (Invalid argument)");
    std::optional<Bus::Reply> reply;
    own.callBus("no method", "a.b", [&](Bus::Reply received) { reply = std::move(received); });
    ASSERT_TRUE(reply);
    EXPECT_EQ(std::get<CallFailure>(*reply), expected);
    EXPECT_TRUE(own.isOpen());
}

TEST_F(ABus, ReportsEveryOwnerOfANameThatItWatches) {
    ASSERT_TRUE(own.open());
    own.watchOwner("org.example.Other");
    {
        Bus other(callbacks());
        ASSERT_TRUE(other.open());
        other.claimName("org.example.Other");
        ASSERT_TRUE(loop.runUntil([&] { return owners.size() == 1; }));
        EXPECT_EQ(owners[0].first, "org.example.Other");
        EXPECT_TRUE(owners[0].second && owners[0].second->starts_with(':'));
    }
    ASSERT_TRUE(loop.runUntil([&] { return owners.size() == 2; }));
    EXPECT_EQ(owners[1], (std::pair<std::string, std::optional<std::string>>("org.example.Other", std::nullopt)));
}

TEST_F(ABus, AnswersACallWithTheExceptionThatLeavesIt) {
    ASSERT_TRUE(own.open());
    own.exportObject(object);
    own.claimName("org.example.Own");
    TestSupport::BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner("org.example.Own"));
    const TestSupport::BusPeer::Target target{"org.example.Own", object.path, object.interface, "Work"};
    EXPECT_EQ(peer.call(target), (TestSupport::BusPeer::Reply{"", "", "", ""}));
    EXPECT_EQ(peers, std::vector<std::string>{peer.uniqueName()});
    called = [](const IncomingCall&) { throw std::runtime_error("no good"); };
    EXPECT_EQ(peer.call(target), (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "no good", "", ""}));
    called = [](const IncomingCall&) { throw std::bad_alloc(); };
    EXPECT_EQ(peer.call(target),
              (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.NoMemory", "out of memory", "", ""}));
    called = [](const IncomingCall&) { throw 42; }; // NOLINT(hicpp-exception-baseclass): the worst that may come
    EXPECT_EQ(peer.call(target),
              (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "an unknown exception", "", ""}));
    EXPECT_EQ(failures, std::vector<std::string>{});
}

} // namespace
