// How a listener comes to its end, and what its peers see of that.

#include "ListenerFixture.h"
#include "Platform/Ipc/Message.h"
#include "RawPeer.h"

#include <systemd/sd-bus.h>

namespace {

using IpcTests::RawPeer;
using TestSupport::BusPeer;
using TestSupport::ScopedEnvironment;
using Strings = std::vector<std::string>;

class AListenersEnd : public ListenerFixture {
protected:
    TestSupport::LogCapture log;
};

TEST_F(AListenersEnd, ComesOnceAndLaterWhereThereIsNoBus) {
    const ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + bus.socketPath() + ".none"}};
    const auto listener = newListener();
    EXPECT_EQ(ends, Strings{});
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"there is no session bus (No such file or directory)"}));
}

TEST_F(AListenersEnd, ComesWhereNothingSaysWhichBus) {
    const ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", std::nullopt}, {"XDG_RUNTIME_DIR", std::nullopt}};
    const auto listener = newListener();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"there is no session bus (No medium found)"}));
}

TEST_F(AListenersEnd, ComesWhereAnotherProcessHasItsName) {
    BusPeer owner;
    ASSERT_GE(sd_bus_request_name(owner.handle(), name, 0), 0);
    const auto listener = newListener();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the bus name org.example.Worker is taken by another process"}));
}

TEST_F(AListenersEnd, ComesWhereItsNameOrItsObjectIsImpossible) {
    for (const auto& [address, reason] : {std::pair(Platform::Ipc::ServiceAddress{"not a name", "/org/example/Worker"},
                                                    "the bus name not a name cannot be claimed (Invalid argument)"),
                                          std::pair(Platform::Ipc::ServiceAddress{name, "/not a path"},
                                                    "the object /not a path cannot be exported (Invalid argument)")}) {
        ends.clear();
        Platform::Ipc::Listener listener(address, {interface, {"Work"}});
        listener.setEndHandler([this](const std::string& why) { ends.push_back(why); });
        listener.resume();
        EXPECT_EQ(ends, Strings{});
        EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
        EXPECT_EQ(ends, Strings{reason});
    }
    EXPECT_EQ(log.entries(), Strings{});
}

TEST_F(AListenersEnd, ComesWhenTheBusGoesAwayAndFreesItsConnections) {
    const auto object = std::make_shared<int>(0);
    decide = [&](const ConnectionPointer& connection) {
        connection->setExportedInterface({interface, {"Work"}});
        connection->setExportedObject({{"Work", [object] {}}});
        connection->resume();
        return true;
    };
    const auto listener = newListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(work()), BusPeer::Reply{});
    EXPECT_EQ(object.use_count(), 2);
    bus.kill();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the session bus is lost"}));
    EXPECT_EQ(object.use_count(), 1);
}

TEST_F(AListenersEnd, DoesNotComeWhereOnlyItsConnectionWasCut) {
    const auto listener = newListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(work()), BusPeer::Reply{});
    const auto empty = RawPeer::call(name, path, interface, "Work", 1).size() - 1;
    RawPeer longest(bus.socketPath());
    longest.introduceItself();
    // With the sender's name, which the bus adds, the message is too long for the library.
    EXPECT_TRUE(longest.write(RawPeer::call(name, path, interface, "Work", Platform::Ipc::maximumMessageSize - empty)));
    ASSERT_TRUE(loop.runUntil([&] { return !log.entries().empty(); }));
    EXPECT_EQ(log.entries(), (Strings{"The connection to the session bus was cut and is made again"}));
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(work()), BusPeer::Reply{});
    // A peer that was known before comes as a new one.
    EXPECT_EQ(asked, (Strings{peer.uniqueName(), peer.uniqueName()}));
    EXPECT_EQ(ends, Strings{});
}

TEST_F(AListenersEnd, IsSilentWhenItsOwnerDestroysIt) {
    auto listener = newListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(work()), BusPeer::Reply{});
    listener.reset();
    const auto reply = peer.call(work());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_EQ(ends, Strings{});
    // The name is free again.
    const auto successor = newListener();
    EXPECT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(ends, Strings{});
}

TEST_F(AListenersEnd, MayComeWhileItsOwnerHandlesACall) {
    auto listener = newListener();
    decide = [&](const ConnectionPointer& connection) {
        connection->setExportedInterface({interface, {"Work"}});
        connection->setExportedObject({{"Work", [&] { listener.reset(); }}});
        connection->resume();
        return true;
    };
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    const auto reply = peer.call(work());
    ASSERT_TRUE(reply);
    EXPECT_EQ(listener, nullptr);
}

} // namespace
