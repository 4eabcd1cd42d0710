// A connection to the session bus by itself: what it refuses, what it reports, and what exceptions become that leave
// a call.

#include "Platform/Ipc/Bus.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

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
        made.propertiesChanged = [this](const std::string& peer) { changed.push_back(peer); };
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
    std::vector<std::string> changed;
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
    own.readProperties("a.b", "/", "a.b", [&](const auto&) { answered = true; });
    own.watchProperties("/", "a.b");
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

TEST_F(ABus, HasAUniqueNameOnceTheBusHasReplied) {
    EXPECT_EQ(own.uniqueName(), std::nullopt);
    ASSERT_TRUE(own.open());
    EXPECT_EQ(own.uniqueName(), std::nullopt);
    EXPECT_EQ(failureOf(itself).name, "none");
    const auto name = own.uniqueName();
    ASSERT_TRUE(name);
    std::optional<Bus::Reply> owner;
    own.callBus("GetNameOwner", *name, [&](Bus::Reply received) { owner = std::move(received); });
    ASSERT_TRUE(loop.runUntil([&] { return owner.has_value(); }));
    EXPECT_EQ(*owner, Bus::Reply(Value(*name)));
    daemon.kill();
    ASSERT_TRUE(loop.runUntil([&] { return !failures.empty(); }));
    EXPECT_EQ(own.uniqueName(), std::nullopt);
}

TEST_F(ABus, ReadsThePropertiesOfAPeersObject) {
    ASSERT_TRUE(own.open());
    const int number = 5;
    // The peer's connection reads the table until it is freed.
    const std::vector<sd_bus_vtable> table{SD_BUS_VTABLE_START(0),
                                           SD_BUS_PROPERTY("Number", "i", nullptr, 0, SD_BUS_VTABLE_PROPERTY_CONST),
                                           SD_BUS_VTABLE_END};
    const TestSupport::BusPeer peer;
    ASSERT_GE(sd_bus_add_object_vtable(peer.handle(), nullptr, "/org/example/Peer", "org.example.Peer", table.data(),
                                       const_cast<int*>(&number)),
              0);
    std::vector<Bus::Reply> replies;
    const auto keep = [&](Bus::Reply reply) { replies.push_back(std::move(reply)); };
    own.readProperties(peer.uniqueName(), "/org/example/Peer", "org.example.Peer", keep);
    ASSERT_TRUE(loop.runUntil([&] { return replies.size() == 1; }));
    EXPECT_EQ(replies[0], Bus::Reply(Value(Dictionary{{"Number", std::int64_t{5}}})));
    own.readProperties(peer.uniqueName(), "/org/example/Other", "org.example.Peer", keep);
    ASSERT_TRUE(loop.runUntil([&] { return replies.size() == 2; }));
    EXPECT_EQ(std::get<CallFailure>(replies[1]).name, "org.freedesktop.DBus.Error.UnknownObject");
    own.readProperties("org.example.Nobody", "no path", "org.example.Peer", keep);
    ASSERT_EQ(replies.size(), 3U);
    EXPECT_EQ(replies[2], Bus::Reply(CallFailure{"org.freedesktop.DBus.Error.InvalidArgs",
                                                 "a call cannot be made (Invalid argument)"}));
}

TEST_F(ABus, LaunchesNothingToReadProperties) {
    TestSupport::TemporaryDirectory folder;
    const TestSupport::PrivateBus other({{"org.example.Idle", "/bin/touch " + folder.path("launched")}});
    ASSERT_TRUE(own.open());
    std::optional<Bus::Reply> reply;
    own.readProperties("org.example.Idle", "/", "org.example.Idle",
                       [&](Bus::Reply received) { reply = std::move(received); });
    ASSERT_TRUE(loop.runUntil([&] { return reply.has_value(); }));
    EXPECT_EQ(std::get<CallFailure>(*reply).name, "org.freedesktop.DBus.Error.NameHasNoOwner");
}

TEST_F(ABus, ReportsChangesOfThePropertiesThatItWatches) {
    ASSERT_TRUE(own.open());
    own.watchProperties("/org/example/Peer", "org.example.Peer");
    EXPECT_EQ(failureOf(itself).name, "none") << "the bus has taken the rule";
    const TestSupport::BusPeer peer;
    const auto announce = [&](const char* path, const char* interface) {
        EXPECT_GE(sd_bus_emit_signal(peer.handle(), path, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                                     "sa{sv}as", interface, 0, 1, "Number"),
                  0);
    };
    announce("/org/example/Other", "org.example.Peer");
    announce("/org/example/Peer", "org.example.Other");
    announce("/org/example/Peer", "org.example.Peer");
    ASSERT_TRUE(loop.runUntil([&] { return !changed.empty(); }));
    EXPECT_EQ(changed, std::vector<std::string>{peer.uniqueName()});
    own.watchProperties("it's", "org.example.Peer");
    EXPECT_EQ(failures, std::vector<std::string>{"the properties of it's cannot be watched (Invalid argument)"});
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
