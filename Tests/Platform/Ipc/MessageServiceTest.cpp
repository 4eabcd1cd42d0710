// What peers on the bus get from a message service, and what it sees of them.

#include "MessageFixture.h"
#include "Support/Command.h"
#include "Support/LogCapture.h"

#include <unistd.h>

#include <stdexcept>

namespace {

using namespace IpcTests;
using namespace Platform;
using Ipc::ConnectionEvent;
using TestSupport::BusPeer;
using TestSupport::runCommand;

class AMessageService : public MessageFixture {
protected:
    AMessageService() { EXPECT_TRUE(BusPeer().waitForOwner(messages.service.name)); }

    std::unique_ptr<Ipc::MessageService> service = newService();
};

TEST_F(AMessageService, HandsOverOneConnectionForEachPeer) {
    BusPeer first;
    BusPeer second;
    EXPECT_EQ(first.call(messageMethod, text("one")), emptyReply);
    EXPECT_EQ(second.call(messageMethod, text("two")), emptyReply);
    EXPECT_EQ(first.call(messageMethod, text("three")), emptyReply);
    ASSERT_EQ(connections.size(), 2U);
    EXPECT_EQ(connections[0]->name(), first.uniqueName());
    EXPECT_EQ(events[first.uniqueName()], (Strings{"one", "three"}));
    EXPECT_EQ(events[second.uniqueName()], (Strings{"two"}));
}

TEST_F(AMessageService, KnowsWhoItsPeersAre) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")), emptyReply);
    ASSERT_EQ(connections.size(), 1U);
    const auto& identity = connections[0]->identity();
    EXPECT_EQ(identity.effectiveUser, ::geteuid());
    EXPECT_EQ(identity.effectiveGroup, ::getegid());
    EXPECT_EQ(identity.process, static_cast<std::uint32_t>(::getpid()));
    std::uint32_t session = Ipc::PeerIdentity::unset;
    if (std::FILE* file = std::fopen("/proc/self/sessionid", "re")) {
        EXPECT_EQ(std::fscanf(file, "%u", &session), 1);
        std::fclose(file);
    }
    EXPECT_EQ(identity.auditSession, session);
}

TEST_F(AMessageService, KnowsAPeerBeforeItHandsItOver) {
    Ipc::PeerIdentity known;
    welcome = [&](const ConnectionPointer& connection) {
        known = connection->identity();
        connection->resume();
    };
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")), emptyReply);
    EXPECT_EQ(known.process, static_cast<std::uint32_t>(::getpid()));
}

TEST_F(AMessageService, HandlesNothingBeforeWhatItsHandlerPutOnTheMainQueueHasRun) {
    Strings order;
    welcome = [&](const ConnectionPointer& connection) {
        connection->resume();
        Queue::main().async([&, connection] {
            order.emplace_back("ready");
            connection->setEventHandler([&](const ConnectionEvent& event) { order.push_back(textOf(event)); });
        });
    };
    BusPeer peer;
    peer.send(messageMethod, text("first"));
    EXPECT_EQ(peer.call(messageMethod, text("second")), emptyReply);
    EXPECT_EQ(order, (Strings{"ready", "first", "second"}));
}

TEST_F(AMessageService, HandlesEventsInOrderOnTheConnectionsTargetQueue) {
    const auto queue = Queue::serial("org.example.target");
    Strings labels;
    welcome = [&](const ConnectionPointer& connection) {
        connection->setTargetQueue(queue);
        connection->setEventHandler(
            [&](const ConnectionEvent& event) { labels.push_back(Queue::current().label() + " " + textOf(event)); });
        connection->resume();
    };
    BusPeer peer;
    peer.send(messageMethod, text("1"));
    peer.send(messageMethod, text("2"));
    EXPECT_EQ(peer.call(messageMethod, text("3")), emptyReply);
    EXPECT_EQ(labels, (Strings{"org.example.target 1", "org.example.target 2", "org.example.target 3"}));
}

TEST_F(AMessageService, HoldsEventsBackWhileAConnectionIsSuspended) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("1")), emptyReply);
    const auto connection = connections.at(0);
    connection->suspend();
    connection->suspend();
    const auto reply = std::make_shared<std::optional<BusPeer::Reply>>();
    peer.start(messageMethod, text("2"), reply);
    BusPeer other;
    EXPECT_EQ(other.call(messageMethod, text("meanwhile")), emptyReply);
    connection->resume();
    EXPECT_EQ(other.call(messageMethod, text("still")), emptyReply);
    EXPECT_FALSE(reply->has_value());
    EXPECT_EQ(events[peer.uniqueName()], (Strings{"1"}));
    connection->resume();
    EXPECT_TRUE(loop.runUntil([&] { return reply->has_value(); }));
    EXPECT_EQ(events[peer.uniqueName()], (Strings{"1", "2"}));
    EXPECT_THROW(connection->resume(), std::logic_error);
}

TEST_F(AMessageService, NotifiesAConnectionThatItsPeerHasLeftAfterAllThatThePeerSent) {
    auto peer = std::make_unique<BusPeer>();
    const auto leaving = peer->uniqueName();
    for (int count = 0; count < 5; ++count)
        peer->send(messageMethod, text("word"));
    peer->flush();
    peer.reset();
    ASSERT_TRUE(loop.runUntil([&] { return events[leaving].size() == 6; }));
    EXPECT_EQ(events[leaving], (Strings{"word", "word", "word", "word", "word", "<Connection invalid>"}));
    // Nobody but the test holds it now.
    ASSERT_EQ(connections.size(), 1U);
    EXPECT_EQ(connections[0].use_count(), 1);
}

TEST_F(AMessageService, RepliesToACallerWhoseMessageCannotBeHandled) {
    const TestSupport::LogCapture log;
    welcome = [&](const ConnectionPointer& connection) {
        connection->setEventHandler([](const ConnectionEvent&) { throw std::runtime_error("no room"); });
        connection->resume();
    };
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.Failed", "no room", "", ""}));
    peer.send(messageMethod, text("hello"));
    EXPECT_EQ(peer.call(messageMethod, text("hello"))->errorText, "no room");
    EXPECT_EQ(log.entries(), Strings(3, "Uncaught exception on main: no room"));
}

TEST_F(AMessageService, RefusesWhatHasNoMeaningAndSaysWhy) {
    const TestSupport::LogCapture log;
    BusPeer peer;
    const auto pair = [](sd_bus_message* call) { sd_bus_message_append(call, "v", "(ii)", 1, 2); };
    EXPECT_EQ(peer.call(messageMethod, pair), (BusPeer::Reply{"org.freedesktop.DBus.Error.InvalidArgs",
                                                              "a structure (ii) has no meaning here", "", ""}));
    EXPECT_EQ(peer.call(messageMethod, [](sd_bus_message* call) { sd_bus_message_append(call, "s", "bare"); }),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.InvalidArgs",
                              "Invalid arguments 's' to call org.example.Messages.Message(), expecting 'v'.", "", ""}));
    EXPECT_EQ(peer.call(messageMethod)->errorName, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(peer.call({messageMethod.destination, messageMethod.objectPath, "org.example.Work", "Work"})->errorName,
              "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(log.entries(),
              (Strings{"A message from " + peer.uniqueName() + " is refused: a structure (ii) has no meaning here"}));
    EXPECT_EQ(peer.call(messageMethod, text("fine")), emptyReply);
    EXPECT_EQ(events[peer.uniqueName()], (Strings{"fine"}));
}

TEST_F(AMessageService, SendsToAPeerByCallingItsObject) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")), emptyReply);
    connections.at(0)->send(Ipc::Dictionary{{"answer", std::int64_t{42}}});
    ASSERT_TRUE(loop.runUntil([&] { return !peer.received().empty(); }));
    auto* call = peer.received()[0].get();
    EXPECT_STREQ(sd_bus_message_get_path(call), "/org/example/Worker");
    EXPECT_GT(sd_bus_message_is_method_call(call, "org.example.Messages", "Message"), 0);
    EXPECT_EQ(sd_bus_message_get_expect_reply(call), 0);
    const char* name = nullptr;
    std::int64_t number = 0;
    EXPECT_GT(sd_bus_message_read(call, "v", "a{sv}", 1, &name, "x", &number), 0);
    EXPECT_STREQ(name, "answer");
    EXPECT_EQ(number, 42);
}

TEST_F(AMessageService, LogsWhatCannotBeSent) {
    const TestSupport::LogCapture log;
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")), emptyReply);
    connections.at(0)->send("bad \xFF");
    connections.at(0)->send("good");
    ASSERT_TRUE(loop.runUntil([&] { return !peer.received().empty(); }));
    EXPECT_EQ(log.entries(), (Strings{"A message to " + peer.uniqueName() +
                                      " cannot be sent: byte 4 of a string is zero or no part of well-formed UTF-8"}));
}

TEST_F(AMessageService, RefusesMessagesOfACancelledConnection) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("hello")), emptyReply);
    connections.at(0)->cancel();
    EXPECT_EQ(peer.call(messageMethod, text("again")),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.AccessDenied", "the connection is cancelled", "", ""}));
    connections.at(0)->send("into the void");
    EXPECT_EQ(peer.call({messageMethod.destination, messageMethod.objectPath, "org.freedesktop.DBus.Peer", "Ping"}),
              emptyReply);
    EXPECT_TRUE(peer.received().empty());
    EXPECT_EQ(connections.size(), 1U);
}

TEST_F(AMessageService, NotifiesEveryConnectionOfAnEndingProcess) {
    BusPeer first;
    BusPeer second;
    EXPECT_EQ(first.call(messageMethod, text("a")), emptyReply);
    EXPECT_EQ(second.call(messageMethod, text("b")), emptyReply);
    service->announceTermination();
    EXPECT_TRUE(loop.runUntil([&] { return events[second.uniqueName()].size() == 2; }));
    EXPECT_EQ(events[first.uniqueName()], (Strings{"a", "<Process termination imminent>"}));
    EXPECT_EQ(events[second.uniqueName()], (Strings{"b", "<Process termination imminent>"}));
    EXPECT_EQ(first.call(messageMethod, text("still served")), emptyReply);
}

TEST_F(AMessageService, NotifiesEveryConnectionOfALostBusBeforeItsOwner) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("a")), emptyReply);
    const auto name = peer.uniqueName();
    Strings atEnd;
    service->setEndHandler([&](const std::string& reason) {
        ends.push_back(reason);
        atEnd = events[name];
    });
    bus.kill();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the session bus is lost"}));
    EXPECT_EQ(atEnd, (Strings{"a", "<Connection invalid>"}));
    connections.at(0)->send("into the void");
}

TEST_F(AMessageService, EndsWhereItsNameIsTaken) {
    BusPeer peer;
    EXPECT_EQ(peer.call(messageMethod, text("a")), emptyReply);
    const auto second = newService();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the bus name org.example.Worker is taken by another process"}));
    EXPECT_EQ(peer.call(messageMethod, text("b")), emptyReply);
    EXPECT_EQ(events[peer.uniqueName()], (Strings{"a", "b"}));
}

TEST_F(AMessageService, EndsWhereItsNameIsImpossible) {
    Platform::Ipc::MessageService impossible({{"nodots", "/nodots"}, "org.example.Messages"}, welcome);
    impossible.setEndHandler([this](const std::string& reason) { ends.push_back(reason); });
    impossible.resume();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the bus name nodots cannot be claimed (Invalid argument)"}));
}

TEST_F(AMessageService, IsUsedByTheUsualCommands) {
    const std::string name = messages.service.name;
    const std::string path = messages.service.objectPath;
    const auto busctl =
        runCommand({"busctl", "--user", "call", name, path, messages.interface, "Message", "v", "s", "from busctl"});
    EXPECT_EQ(busctl.status, 0) << busctl.errors;
    const auto gdbus = runCommand({"gdbus", "call", "--session", "--dest", name, "--object-path", path, "--method",
                                   messages.interface + ".Message", "<'from gdbus'>"});
    EXPECT_EQ(gdbus.output, "()\n") << gdbus.errors;
    const auto dbusSend = runCommand({"dbus-send", "--session", "--print-reply", "--dest=" + name, path,
                                      messages.interface + ".Message", "variant:string:from dbus-send"});
    EXPECT_EQ(dbusSend.status, 0) << dbusSend.errors;
    const auto refused =
        runCommand({"busctl", "--user", "call", name, path, messages.interface, "Message", "v", "(i)", "5"});
    EXPECT_EQ(refused.errors, "Call failed: a structure (i) has no meaning here\n");
    ASSERT_EQ(connections.size(), 4U);
    EXPECT_EQ(events[connections[0]->name()], (Strings{"from busctl", "<Connection invalid>"}));
    EXPECT_EQ(events[connections[1]->name()], (Strings{"from gdbus", "<Connection invalid>"}));
    EXPECT_EQ(events[connections[2]->name()], (Strings{"from dbus-send", "<Connection invalid>"}));
}

TEST_F(AMessageService, DescribesItsInterface) {
    BusPeer peer;
    const auto reply = peer.call(
        {messageMethod.destination, messageMethod.objectPath, "org.freedesktop.DBus.Introspectable", "Introspect"});
    ASSERT_TRUE(reply);
    EXPECT_NE(reply->text.find(R"( <interface name="org.example.Messages">
  <method name="Message">
   <arg type="v" name="message" direction="in"/>
  </method>
 </interface>
)"),
              std::string::npos)
        << reply->text;
}

} // namespace
