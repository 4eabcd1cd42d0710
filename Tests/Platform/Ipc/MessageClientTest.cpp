// A client's end of a connection: launching the service, sending to it, hearing from it, and losing it.

#include "MessageFixture.h"
#include "Support/LogCapture.h"

#include <unistd.h>

#include <csignal>

namespace {

using namespace IpcTests;
using namespace Platform;
using Ipc::ConnectionEvent;
using Ipc::MessageConnection;
using TestSupport::BusPeer;
using Strings = std::vector<std::string>;

class AClientsConnection : public testing::Test {
protected:
    std::shared_ptr<MessageConnection> connect(const Ipc::MessageAddress& address) {
        auto connection = MessageConnection::toService(address);
        connection->setEventHandler([this](const ConnectionEvent& event) { events.push_back(textOf(event)); });
        connection->resume();
        return connection;
    }
    bool heard(const Strings& expected) {
        loop.runUntil([&] { return events.size() >= expected.size(); });
        return events == expected;
    }

    RunLoop loop;
    TestSupport::PrivateBus bus{
        {{"org.example.Worker", IPC_TEST_MESSAGE_SERVICE}, {"org.example.Absent", "/nonexistent/service"}}};
    Strings events;
};

TEST_F(AClientsConnection, LaunchesItsServiceWithTheFirstMessageAndHearsFromIt) {
    const auto connection = connect(messages);
    EXPECT_EQ(connection->name(), "org.example.Worker");
    connection->send("one");
    connection->send("two");
    EXPECT_TRUE(heard({"one", "two"})) << testing::PrintToString(events);
}

TEST_F(AClientsConnection, KnowsItsService) {
    const auto connection = connect(messages);
    EXPECT_EQ(connection->identity(), Ipc::PeerIdentity());
    connection->send("hello");
    ASSERT_TRUE(heard({"hello"}));
    EXPECT_TRUE(loop.runUntil([&] { return connection->identity().process != Ipc::PeerIdentity::unset; }));
    EXPECT_EQ(connection->identity().effectiveUser, ::geteuid());
    EXPECT_NE(connection->identity().process, static_cast<std::uint32_t>(::getpid()));
}

TEST_F(AClientsConnection, IsInterruptedWhenItsServiceEndsAndLaunchesItAgain) {
    const auto connection = connect(messages);
    connection->send("one");
    ASSERT_TRUE(heard({"one"}));
    connection->send("leave");
    ASSERT_TRUE(heard({"one", "<Connection interrupted>"}));
    connection->send("two");
    EXPECT_TRUE(heard({"one", "<Connection interrupted>", "two"})) << testing::PrintToString(events);
}

TEST_F(AClientsConnection, FindsAServiceThatRunsAlready) {
    const auto first = connect(messages);
    first->send("one");
    ASSERT_TRUE(heard({"one"}));
    const auto second = connect(messages);
    EXPECT_TRUE(loop.runUntil([&] { return second->identity().process != Ipc::PeerIdentity::unset; }));
    EXPECT_EQ(second->identity(), first->identity());
}

TEST_F(AClientsConnection, IsInvalidWhereNobodyKnowsItsService) {
    const TestSupport::LogCapture log;
    const auto connection = connect({{"org.example.Nobody", "/org/example/Nobody"}, "org.example.Messages"});
    connection->send("hello");
    connection->send("hello?");
    EXPECT_TRUE(heard({"<Connection invalid>"}));
    EXPECT_EQ(log.entries(), (Strings{"org.example.Nobody cannot be launched: The name org.example.Nobody was not "
                                      "provided by any .service files"}));
    connection->send("is anybody there?");
    EXPECT_EQ(events.size(), 1U);
}

TEST_F(AClientsConnection, IsInvalidWhereItsServiceCannotBeLaunched) {
    const TestSupport::LogCapture log;
    const auto connection = connect({{"org.example.Absent", "/org/example/Absent"}, "org.example.Messages"});
    connection->send("hello");
    EXPECT_TRUE(heard({"<Connection invalid>"}));
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST_F(AClientsConnection, IsInvalidWithoutABus) {
    bus.kill();
    const auto connection = connect(messages);
    connection->send("hello");
    EXPECT_TRUE(heard({"<Connection invalid>"}));
}

TEST_F(AClientsConnection, IsInvalidWhenTheBusIsLost) {
    const auto connection = connect(messages);
    connection->send("one");
    ASSERT_TRUE(heard({"one"}));
    bus.kill();
    EXPECT_TRUE(heard({"one", "<Connection invalid>"})) << testing::PrintToString(events);
    connection->send("two");
}

TEST_F(AClientsConnection, HearsNobodyButItsService) {
    BusPeer service;
    ASSERT_GE(sd_bus_request_name(service.handle(), "org.example.Worker", 0), 0);
    const auto connection = connect(messages);
    connection->send("hello");
    ASSERT_TRUE(loop.runUntil([&] { return !service.received().empty(); }));
    const std::string client = sd_bus_message_get_sender(service.received()[0].get());
    BusPeer stranger;
    EXPECT_EQ(stranger.call({client, "/org/example/Worker", "org.example.Messages", "Message"}, text("psst")),
              (BusPeer::Reply{"org.freedesktop.DBus.Error.AccessDenied",
                              "only org.example.Worker may send to this connection", "", ""}));
    EXPECT_EQ(service.call({client, "/org/example/Worker", "org.example.Messages", "Message"}, text("welcome")),
              emptyReply);
    EXPECT_EQ(events, (Strings{"welcome"}));
}

TEST_F(AClientsConnection, LogsAMessageThatCannotBeSentAndSendsTheNext) {
    const TestSupport::LogCapture log;
    const auto connection = connect(messages);
    connection->send(std::string("a\0b", 3));
    connection->send("two");
    EXPECT_TRUE(heard({"two"})) << testing::PrintToString(events);
    EXPECT_EQ(log.entries(), (Strings{"A message to org.example.Worker cannot be sent: byte 1 of a string is zero or "
                                      "no part of well-formed UTF-8"}));
}

TEST_F(AClientsConnection, LeavesTheBusWhenItIsCancelled) {
    BusPeer service;
    ASSERT_GE(sd_bus_request_name(service.handle(), "org.example.Worker", 0), 0);
    auto connection = connect(messages);
    connection->send("hello");
    ASSERT_TRUE(loop.runUntil([&] { return !service.received().empty(); }));
    const BusPeer::Target toClient{sd_bus_message_get_sender(service.received()[0].get()), "/org/example/Worker",
                                   "org.freedesktop.DBus.Peer", "Ping"};
    EXPECT_EQ(service.call(toClient), emptyReply);
    connection->cancel();
    EXPECT_EQ(service.call(toClient)->errorName, "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_EQ(events, Strings{});
}

TEST_F(AClientsConnection, SeesItsServiceEndOnASignalInOrder) {
    const auto connection = connect(messages);
    connection->send("one");
    ASSERT_TRUE(heard({"one"}));
    ASSERT_TRUE(loop.runUntil([&] { return connection->identity().process != Ipc::PeerIdentity::unset; }));
    ::kill(static_cast<pid_t>(connection->identity().process), SIGTERM);
    ASSERT_TRUE(heard({"one", "<Connection interrupted>"}));
    // The service itself was told before it ended.
    EXPECT_NE(bus.log().find("error: Process termination imminent\n"), std::string::npos) << bus.log();
}

} // namespace
