// What peers on the bus get from a listener, and what its delegate sees of them.

#include "ListenerFixture.h"
#include "Support/Command.h"

#include <systemd/sd-bus.h>

#include <stdexcept>

namespace {

using Platform::Queue;
using TestSupport::BusPeer;
using TestSupport::runCommand;
using Strings = std::vector<std::string>;

class AListener : public ListenerFixture {
protected:
    AListener() { EXPECT_TRUE(BusPeer().waitForOwner(name)); }

    std::unique_ptr<Platform::Ipc::Listener> listener = newListener();
};

const BusPeer::Reply emptyReply{};

TEST_F(AListener, AsksItsDelegateOnceForEachPeer) {
    BusPeer first;
    BusPeer second;
    EXPECT_EQ(first.call(work()), emptyReply);
    EXPECT_EQ(second.call(work()), emptyReply);
    EXPECT_EQ(first.call(rest()), emptyReply);
    EXPECT_EQ(asked, (Strings{first.uniqueName(), second.uniqueName()}));
    EXPECT_EQ(calls,
              (Strings{"Work " + first.uniqueName(), "Work " + second.uniqueName(), "Rest " + first.uniqueName()}));
}

TEST_F(AListener, AsksItsDelegateForAPeerThatCallsNoMethodOfItsOwn) {
    BusPeer peer;
    EXPECT_EQ(peer.call({name, path, "org.freedesktop.DBus.Peer", "Ping"}), emptyReply);
    EXPECT_TRUE(loop.runUntil([&] { return !asked.empty(); }));
    EXPECT_EQ(asked, (Strings{peer.uniqueName()}));
    EXPECT_EQ(calls, Strings{});
}

TEST_F(AListener, DoesNotMeetAPeerThatCallsAnotherObject) {
    BusPeer peer;
    const auto reply = peer.call({name, "/org/example/Other", interface, "Work"});
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.UnknownObject");
    EXPECT_EQ(peer.call(work()), emptyReply);
    EXPECT_EQ(asked.size(), 1U);
}

TEST_F(AListener, AsksItsDelegateOnItsOwnQueueAndRunsCallsOnTheConnections) {
    std::string queueOfDelegate;
    Strings queuesOfCalls;
    decide = [&](const ConnectionPointer& connection) {
        queueOfDelegate = Queue::current().label();
        connection->setExportedInterface({interface, {"Work"}});
        connection->setExportedObject({{"Work", [&] { queuesOfCalls.push_back(Queue::current().label()); }}});
        connection->resume();
        return true;
    };
    BusPeer first;
    BusPeer second;
    EXPECT_EQ(first.call(work()), emptyReply);
    EXPECT_EQ(second.call(work()), emptyReply);
    EXPECT_EQ(queueOfDelegate, "org.example.Worker.listener");
    EXPECT_EQ(listener->queue().label(), "org.example.Worker.listener");
    EXPECT_EQ(queuesOfCalls, (Strings{name + first.uniqueName(), name + second.uniqueName()}));
}

TEST_F(AListener, RunsThePeersCallsInTheirOrder) {
    BusPeer peer;
    for (int count = 0; count < 100; ++count)
        peer.send(count % 3 == 0 ? rest() : work());
    ASSERT_TRUE(loop.runUntil([&] { return calls.size() == 100; }));
    for (std::size_t count = 0; count < 100; ++count)
        EXPECT_EQ(calls[count], (count % 3 == 0 ? "Rest " : "Work ") + peer.uniqueName());
}

TEST_F(AListener, SendsNothingToACallerThatAsksForNoReply) {
    BusPeer peer;
    peer.send(work());
    peer.send({name, path, interface, "Missing"});
    // What would have come for these two would come before the reply to a later call.
    EXPECT_EQ(peer.call(work()), emptyReply);
    EXPECT_EQ(peer.received().size(), 0U);
    EXPECT_EQ(calls.size(), 2U);
}

TEST_F(AListener, LetsCallsWaitUntilTheConnectionIsResumed) {
    ConnectionPointer held;
    decide = [&](const ConnectionPointer& connection) {
        if (held)
            return false;
        held = connection;
        connection->setExportedInterface({interface, {"Work"}});
        connection->setExportedObject({{"Work", [this] { calls.emplace_back("Work"); }}});
        return true;
    };
    BusPeer peer;
    const auto reply = std::make_shared<std::optional<BusPeer::Reply>>();
    peer.start(work(), nullptr, reply);
    peer.start(work(), nullptr, std::make_shared<std::optional<BusPeer::Reply>>());
    BusPeer other;
    ASSERT_TRUE(loop.runUntil([&] { return held != nullptr; }));
    EXPECT_EQ(other.call({name, path, "org.freedesktop.DBus.Peer", "Ping"}), emptyReply);
    EXPECT_EQ(calls, Strings{});
    EXPECT_FALSE(reply->has_value());
    held->resume();
    EXPECT_TRUE(loop.runUntil([&] { return calls.size() == 2 && reply->has_value(); }));
}

TEST_F(AListener, TellsAPeerThatItsDelegateRefuses) {
    decide = [](const ConnectionPointer&) { return false; };
    BusPeer peer;
    const BusPeer::Reply refusal{"org.freedesktop.DBus.Error.AccessDenied", "the connection is refused", "", ""};
    EXPECT_EQ(peer.call(work()), refusal);
    EXPECT_EQ(peer.call(work()), refusal);
    EXPECT_EQ(asked.size(), 1U);
}

TEST_F(AListener, RefusesAPeerAtWhichItsDelegateFails) {
    const TestSupport::LogCapture log;
    decide = [](const ConnectionPointer&) -> bool { throw std::runtime_error("no engine"); };
    BusPeer peer;
    const auto reply = peer.call(work());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_EQ(log.entries(), (Strings{"Uncaught exception on org.example.Worker.listener: no engine"}));
}

TEST_F(AListener, RefusesEverybodyWithoutADelegate) {
    listener->setDelegate(nullptr);
    BusPeer peer;
    const auto reply = peer.call(work());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_EQ(asked, Strings{});
}

TEST_F(AListener, LogsWhatAMethodThrowsAndTellsACallerThatWaits) {
    const TestSupport::LogCapture log;
    decide = [](const ConnectionPointer& connection) {
        connection->setExportedInterface({interface, {"Work", "Rest"}});
        connection->setExportedObject({{"Work", [] { throw std::runtime_error("out of order"); }}, {"Rest", [] {}}});
        connection->resume();
        return true;
    };
    BusPeer peer;
    EXPECT_EQ(peer.call(work()), (BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "out of order", "", ""}));
    peer.send(work());
    EXPECT_EQ(peer.call(rest()), emptyReply);
    const auto entry = "Uncaught exception on " + (name + peer.uniqueName()) + ": out of order";
    EXPECT_EQ(log.entries(), (Strings{entry, entry}));
}

TEST_F(AListener, RepliesToUnknownCallsWithTheStandardErrors) {
    BusPeer peer;
    EXPECT_EQ(peer.call({name, path, interface, "Missing"}),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.UnknownMethod",
                              "Unknown method Missing or interface org.example.Work.", "", ""}));
    EXPECT_EQ(peer.call({name, path, "org.example.Play", "Work"}),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.UnknownMethod",
                              "Unknown method Work or interface org.example.Play.", "", ""}));
    EXPECT_EQ(
        peer.call({name, "/org/example/Nothing", interface, "Work"}),
        (BusPeer::Reply{"org.freedesktop.DBus.Error.UnknownObject", "Unknown object '/org/example/Nothing'.", "", ""}));
    EXPECT_EQ(peer.call(work(), [](sd_bus_message* message) { sd_bus_message_append(message, "s", "now"); }),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.InvalidArgs",
                              "Invalid arguments 's' to call org.example.Work.Work(), expecting ''.", "", ""}));
    EXPECT_EQ(calls, Strings{});
    EXPECT_EQ(peer.call(work()), emptyReply);
}

TEST_F(AListener, LetsEachConnectionUseOnlyWhatIsExportedOnIt) {
    decide = [](const ConnectionPointer& connection) {
        connection->setExportedInterface({interface, {"Rest"}});
        connection->setExportedObject({{"Work", [] {}}});
        connection->resume();
        return true;
    };
    BusPeer peer;
    const BusPeer::Reply unknown{"org.freedesktop.DBus.Error.UnknownMethod", "Unknown method Work", "", ""};
    EXPECT_EQ(peer.call(work()), unknown);
    EXPECT_EQ(peer.call(rest()),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.UnknownMethod", "Unknown method Rest", "", ""}));
    decide = [](const ConnectionPointer& connection) {
        connection->resume();
        return true;
    };
    BusPeer stranger;
    EXPECT_EQ(stranger.call(work()), (BusPeer::Reply{"org.freedesktop.DBus.Error.UnknownInterface",
                                                     "Unknown interface org.example.Work", "", ""}));
}

TEST_F(AListener, DescribesItsInterface) {
    BusPeer peer;
    const auto reply = peer.call({name, path, "org.freedesktop.DBus.Introspectable", "Introspect"});
    ASSERT_TRUE(reply);
    EXPECT_NE(reply->text.find(R"( <interface name="org.example.Work">
  <method name="Work">
   <annotation name="org.freedesktop.DBus.Method.NoReply" value="true"/>
  </method>
  <method name="Rest">
   <annotation name="org.freedesktop.DBus.Method.NoReply" value="true"/>
  </method>
 </interface>
)"),
              std::string::npos)
        << reply->text;
}

TEST_F(AListener, HasTheStandardPropertiesInterface) {
    BusPeer peer;
    const auto all = peer.call({name, path, "org.freedesktop.DBus.Properties", "GetAll"},
                               [](sd_bus_message* message) { sd_bus_message_append(message, "s", interface); });
    ASSERT_TRUE(all);
    EXPECT_EQ(all->errorName, "");
    EXPECT_EQ(all->signature, "a{sv}");
    const auto one = peer.call({name, path, "org.freedesktop.DBus.Properties", "Get"},
                               [](sd_bus_message* message) { sd_bus_message_append(message, "ss", interface, "Any"); });
    ASSERT_TRUE(one);
    EXPECT_EQ(one->errorName, "org.freedesktop.DBus.Error.UnknownProperty");
}

TEST_F(AListener, IsCalledByTheUsualCommands) {
    const auto busctl = runCommand({"busctl", "--user", "call", name, path, interface, "Work"});
    EXPECT_EQ(busctl.status, 0) << busctl.errors;
    EXPECT_EQ(busctl.output, "");
    const auto gdbus = runCommand({"gdbus", "call", "--session", "--dest", name, "--object-path", path, "--method",
                                   std::string(interface) + ".Work"});
    EXPECT_EQ(gdbus.status, 0) << gdbus.errors;
    EXPECT_EQ(gdbus.output, "()\n");
    const auto dbusSend = runCommand({"dbus-send", "--session", "--print-reply=literal", std::string("--dest=") + name,
                                      path, std::string(interface) + ".Work"});
    EXPECT_EQ(dbusSend.status, 0) << dbusSend.errors;
    EXPECT_EQ(calls.size(), 3U);
    EXPECT_EQ(asked.size(), 3U);
}

TEST_F(AListener, LetsTheExportedObjectGoWhenThePeerLeaves) {
    const auto object = std::make_shared<int>(7);
    std::weak_ptr<Platform::Ipc::Connection> weak;
    decide = [&](const ConnectionPointer& connection) {
        weak = connection;
        connection->setExportedInterface({interface, {"Work"}});
        connection->setExportedObject({{"Work", [object] { ++*object; }}});
        connection->resume();
        return true;
    };
    auto peer = std::make_unique<BusPeer>();
    EXPECT_EQ(peer->call(work()), emptyReply);
    EXPECT_EQ(object.use_count(), 2);
    peer.reset();
    EXPECT_TRUE(loop.runUntil([&] { return object.use_count() == 1 && weak.expired(); }));
    EXPECT_EQ(*object, 8);
}

TEST_F(AListener, RunsWhatAPeerCalledBeforeItLeft) {
    BusPeer other;
    auto peer = std::make_unique<BusPeer>();
    const auto leaving = peer->uniqueName();
    for (int count = 0; count < 10; ++count)
        peer->send(work());
    peer->flush();
    peer.reset();
    ASSERT_TRUE(loop.runUntil([&] { return calls.size() == 10; }));
    EXPECT_EQ(calls, Strings(10, "Work " + leaving));
    EXPECT_EQ(other.call(work()), emptyReply);
}

TEST_F(AListener, FreesAConnectionThatWasNeverResumedWhenItsPeerLeaves) {
    std::weak_ptr<Platform::Ipc::Connection> weak;
    decide = [&](const ConnectionPointer& connection) {
        weak = connection;
        return true;
    };
    auto peer = std::make_unique<BusPeer>();
    peer->start(work(), nullptr, std::make_shared<std::optional<BusPeer::Reply>>());
    ASSERT_TRUE(loop.runUntil([&] { return weak.lock() != nullptr; }));
    peer.reset();
    EXPECT_TRUE(loop.runUntil([&] { return weak.expired(); }));
}

} // namespace
