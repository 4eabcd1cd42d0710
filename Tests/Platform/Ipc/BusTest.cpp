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
        made.failed = [this](const std::string& reason) { failures_.push_back(reason); };
        made.peerSent = [this](const std::string& peer) { peers_.push_back(peer); };
        made.called = [this](const IncomingCall& call) { called_(call); };
        made.ownerChanged = [this](const std::string& name, const auto& owner) { owners_.emplace_back(name, owner); };
        return made;
    }
    /// The failure of a call; its name is "none" where it succeeds.
    CallFailure failureOf(const BusTarget& target, std::optional<Value> argument = std::nullopt) {
        std::optional<Bus::Reply> reply;
        own_.call(target, std::move(argument), std::chrono::seconds(20),
                  [&](Bus::Reply received) { reply = std::move(received); });
        loop_.runUntil([&] { return reply.has_value(); });
        const auto* failure = reply ? std::get_if<CallFailure>(&*reply) : nullptr;
        return failure != nullptr ? *failure : CallFailure{"none", ""};
    }

    Platform::RunLoop loop_;
    TestSupport::PrivateBus daemon_;
    std::vector<std::string> failures_;
    std::vector<std::string> peers_;
    Owners owners_;
    std::function<void(const IncomingCall&)> called_ = [](const IncomingCall& call) { call.reply(); };
    Bus own_{callbacks()};
    const BusObject object_{"/org/example/Own", "org.example.Own", {{"Work", "", {}, false}}};
    const BusTarget itself_{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"};
};

TEST_F(ABus, IsOpenUntilItFailsAndFailsOnce) {
    EXPECT_FALSE(own_.isOpen());
    ASSERT_TRUE(own_.open());
    EXPECT_TRUE(own_.isOpen());
    own_.exportObject({"no path", "org.example.Own", {}});
    EXPECT_FALSE(own_.isOpen());
    own_.watchOwner("it's");
    own_.claimName("nodots");
    EXPECT_EQ(failures_, std::vector<std::string>{"the object no path cannot be exported (Invalid argument)"});
    bool answered = false;
    own_.call(itself_, std::nullopt, std::chrono::seconds(1), [&](const auto&) { answered = true; });
    own_.callBus("GetNameOwner", "a.b", [&](const auto&) { answered = true; });
    own_.startService("a.b", [&](const auto&) { answered = true; });
    EXPECT_TRUE(own_.send(itself_, "x"));
    loop_.runOnce(Platform::Duration::zero());
    EXPECT_FALSE(answered);
}

TEST_F(ABus, FailsWhereANameCannotBeWatchedOrClaimed) {
    ASSERT_TRUE(own_.open());
    own_.watchOwner("it's");
    EXPECT_EQ(failures_, std::vector<std::string>{"the owners of bus names cannot be watched (Invalid argument)"});
    Bus other(callbacks());
    ASSERT_TRUE(other.open());
    other.claimName("nodots");
    EXPECT_EQ(failures_.back(), "the bus name nodots cannot be claimed (Invalid argument)");
}

TEST_F(ABus, IsNotOpenedWhereThereIsNone) {
    const TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
    const auto opened = own_.open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error(), "there is no session bus (No such file or directory)");
    EXPECT_FALSE(own_.isOpen());
}

TEST_F(ABus, RefusesACallThatCannotBeMade) {
    ASSERT_TRUE(own_.open());
    EXPECT_EQ(failureOf(itself_).name, "none");
    BusTarget nowhere = itself_;
    nowhere.objectPath = "no path";
    const CallFailure expected{"org.freedesktop.DBus.Error.InvalidArgs", "a call cannot be made (Invalid argument)"};
    EXPECT_EQ(failureOf(nowhere), expected);
    EXPECT_EQ(failureOf(itself_, Value("\xFF")),
              (CallFailure{"org.freedesktop.DBus.Error.InvalidArgs",
                           "byte 0 of a string is zero or no part of well-formed UTF-8"}));
    const auto sent = own_.send(nowhere, "x");
    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error(), "a call cannot be made (Invalid argument)");
    std::optional<Bus::Reply> reply;
    own_.callBus("no method", "a.b", [&](Bus::Reply received) { reply = std::move(received); });
    ASSERT_TRUE(reply);
    EXPECT_EQ(std::get<CallFailure>(*reply), expected);
    EXPECT_TRUE(own_.isOpen());
}

TEST_F(ABus, ReportsEveryOwnerOfANameThatItWatches) {
    ASSERT_TRUE(own_.open());
    own_.watchOwner("org.example.Other");
    {
        Bus other(callbacks());
        ASSERT_TRUE(other.open());
        other.claimName("org.example.Other");
        ASSERT_TRUE(loop_.runUntil([&] { return owners_.size() == 1; }));
        EXPECT_EQ(owners_[0].first, "org.example.Other");
        EXPECT_TRUE(owners_[0].second && owners_[0].second->starts_with(':'));
    }
    ASSERT_TRUE(loop_.runUntil([&] { return owners_.size() == 2; }));
    EXPECT_EQ(owners_[1], (std::pair<std::string, std::optional<std::string>>("org.example.Other", std::nullopt)));
}

TEST_F(ABus, AnswersACallWithTheExceptionThatLeavesIt) {
    ASSERT_TRUE(own_.open());
    own_.exportObject(object_);
    own_.claimName("org.example.Own");
    TestSupport::BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner("org.example.Own"));
    const TestSupport::BusPeer::Target target{"org.example.Own", object_.path, object_.interface, "Work"};
    EXPECT_EQ(peer.call(target), (TestSupport::BusPeer::Reply{"", "", "", ""}));
    EXPECT_EQ(peers_, std::vector<std::string>{peer.uniqueName()});
    called_ = [](const IncomingCall&) { throw std::runtime_error("no good"); };
    EXPECT_EQ(peer.call(target), (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "no good", "", ""}));
    called_ = [](const IncomingCall&) { throw std::bad_alloc(); };
    EXPECT_EQ(peer.call(target),
              (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.NoMemory", "out of memory", "", ""}));
    called_ = [](const IncomingCall&) { throw 42; }; // NOLINT(hicpp-exception-baseclass): the worst that may come
    EXPECT_EQ(peer.call(target),
              (TestSupport::BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "an unknown exception", "", ""}));
    EXPECT_EQ(failures_, std::vector<std::string>{});
}

} // namespace
