// A service on the message-passing front end: how it takes connections, and how it ends.

#include "XPCWrappers/XPCService.h"

#include "Platform/Ipc/MessageService.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/Command.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"
#include "XPCWrappers/MessageAddress.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <csignal>

namespace {

using namespace Quenmark;
using Platform::Queue;
using TestSupport::BusPeer;
using Strings = std::vector<std::string>;

const std::string serviceName = "org.example.Echo";
const BusPeer::Target message{serviceName, "/org/example/Echo", "Velkarin.Quenmark.XPC", "Message"};
const BusPeer::Reply emptyReply{};

BusPeer::Fill text(const char* string) {
    return [string](sd_bus_message* call) { sd_bus_message_append(call, "v", "s", string); };
}

class AnXPCService : public testing::Test {
protected:
    Platform::RunLoop loop;
    TestSupport::PrivateBus bus;
};

TEST_F(AnXPCService, HandsEachConnectionToItsHandlerOnTheMainQueueBeforeAnyEvent) {
    Strings order;
    const XPCService service([&](const std::shared_ptr<XPCConnection>& connection) {
        EXPECT_EQ(Queue::current(), Queue::main());
        order.push_back("connection " + *connection->connectionName());
        connection->setEventHandler([&](const std::optional<XPC::Object>& object, XPCConnection& from) {
            EXPECT_EQ(Queue::current(), from.dispatchQueue());
            EXPECT_EQ(Queue::current().label(), *from.connectionName());
            order.push_back(text(object));
        });
    });
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    BusPeer first;
    BusPeer second;
    first.send(message, text("one"));
    EXPECT_EQ(first.call(message, text("two")), emptyReply);
    EXPECT_EQ(second.call(message, text("three")), emptyReply);
    EXPECT_EQ(order, (Strings{"connection " + first.uniqueName(), "one", "two", "connection " + second.uniqueName(),
                              "three"}));
    ASSERT_EQ(service.connections().size(), 2U);
    EXPECT_FALSE(service.connections()[0]->dispatchQueue() == service.connections()[1]->dispatchQueue());
}

TEST_F(AnXPCService, NotifiesOfEachConnection) {
    std::vector<std::shared_ptr<XPCConnection>> notified;
    const auto observer = Platform::NotificationCenter::defaultCenter().addObserver(
        "XPCConnectionReceivedNotification", std::nullopt, [&](const Platform::Notification& notification) {
            notified.push_back(std::any_cast<std::shared_ptr<XPCConnection>>(notification.object));
        });
    const XPCService service(nullptr);
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    BusPeer peer;
    EXPECT_EQ(peer.call(message, text("hello")), emptyReply);
    ASSERT_EQ(notified.size(), 1U);
    EXPECT_EQ(service.connections(), notified);
}

TEST_F(AnXPCService, KeepsEveryConnectionForGood) {
    const XPCService service([](const std::shared_ptr<XPCConnection>&) {});
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    for (std::size_t count = 1; count <= 3; ++count) {
        auto peer = std::make_unique<BusPeer>();
        EXPECT_EQ(peer->call(message, text("hello")), emptyReply);
        peer.reset();
        // Nobody but the service's record holds the connection once its peer has left.
        ASSERT_TRUE(loop.runUntil([&] { return service.connections().back()->connection().use_count() == 1; }));
        EXPECT_EQ(service.connections().size(), count);
    }
}

TEST_F(AnXPCService, LogsMessagesForTheLogAndPassesThemOnToNobody) {
    const TestSupport::LogCapture log;
    Strings passedOn;
    const XPCService service([&](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler(
            [&](const std::optional<XPC::Object>& object, XPCConnection&) { passedOn.push_back(text(object)); });
    });
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    const auto withEntry = [](const char* type, auto value) {
        return [=](sd_bus_message* call) {
            sd_bus_message_append(call, "v", "a{sv}", 2, "other", "s", "x", "XPCDebugLog", type, value);
        };
    };
    BusPeer peer;
    EXPECT_EQ(peer.call(message, withEntry("s", "one line")), emptyReply);
    EXPECT_EQ(peer.call(message, withEntry("u", 5U)), emptyReply);
    EXPECT_EQ(log.entries(), (Strings{"LOG: one line", "LOG: 5"}));
    EXPECT_EQ(passedOn, Strings{});
    // An entry that is nil is no entry.
    EXPECT_EQ(peer.call(message,
                        [](sd_bus_message* call) {
                            sd_bus_message_append(call, "v", "a{sv}", 1, "XPCDebugLog", "(sv)", "null", "y", 0);
                        }),
              emptyReply);
    EXPECT_EQ(passedOn, (Strings{"{\n}"}));
}

TEST_F(AnXPCService, PassesOnMessagesOfEveryKindNilIncluded) {
    Strings passedOn;
    const XPCService service([&](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler(
            [&](const std::optional<XPC::Object>& object, XPCConnection&) { passedOn.push_back(text(object)); });
    });
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    BusPeer peer;
    EXPECT_EQ(peer.call(message, text("XPCDebugLog")), emptyReply);
    EXPECT_EQ(peer.call(message, [](sd_bus_message* call) { sd_bus_message_append(call, "v", "b", 1); }), emptyReply);
    EXPECT_EQ(
        peer.call(message, [](sd_bus_message* call) { sd_bus_message_append(call, "v", "(sv)", "null", "y", 0); }),
        emptyReply);
    EXPECT_EQ(passedOn, (Strings{"XPCDebugLog", "1", "(null)"}));
}

TEST_F(AnXPCService, PassesOverAConnectionThatIsNone) {
    const TestSupport::LogCapture log;
    std::vector<std::shared_ptr<XPCConnection>> handled;
    XPCService service([&](const std::shared_ptr<XPCConnection>& connection) { handled.push_back(connection); });
    XPCServiceConnectionHandler(nullptr);
    service.handleConnection(nullptr);
    auto& center = Platform::NotificationCenter::defaultCenter();
    center.post("XPCConnectionReceivedNotification", std::shared_ptr<XPCConnection>());
    center.post("XPCConnectionReceivedNotification", std::string("no connection"));
    const auto connection =
        XPCConnection::initWithConnection(std::make_shared<Platform::Ipc::MessageConnection>("peer"));
    center.post("XPCConnectionReceivedNotification", connection);
    ASSERT_TRUE(loop.runUntil([&] { return !handled.empty(); }));
    EXPECT_EQ(handled, std::vector{connection});
    EXPECT_EQ(service.connections(), std::vector{connection});
    EXPECT_EQ(log.entries(), Strings{});
}

TEST_F(AnXPCService, DropsErrorsThatNobodyHandles) {
    const TestSupport::LogCapture log;
    const XPCService service([](const std::shared_ptr<XPCConnection>&) {});
    Platform::Ipc::MessageService messages(messageAddress(serviceName), XPCServiceConnectionHandler);
    messages.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(serviceName));
    BusPeer other;
    auto peer = std::make_unique<BusPeer>();
    EXPECT_EQ(peer->call(message, text("hello")), emptyReply);
    peer.reset();
    EXPECT_TRUE(loop.runUntil([&] { return service.connections().back()->connection().use_count() == 1; }));
    EXPECT_EQ(other.call(message, text("hello")), emptyReply);
    EXPECT_EQ(log.entries(), Strings{});
}

TEST_F(AnXPCService, EndsWith69AndOneLineWhereItsNameIsTaken) {
    BusPeer owner;
    ASSERT_GE(sd_bus_request_name(owner.handle(), serviceName.c_str(), 0), 0);
    const auto result = TestSupport::runCommand({XPC_TEST_SERVICE, serviceName});
    EXPECT_EQ(result.status, 69);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    EXPECT_TRUE(result.errors.ends_with("] the bus name org.example.Echo is taken by another process\n"))
        << result.errors;
}

TEST_F(AnXPCService, EndsWith69AndOneLineWithoutABus) {
    bus.kill();
    const auto result = TestSupport::runCommand({XPC_TEST_SERVICE, serviceName});
    EXPECT_EQ(result.status, 69);
    EXPECT_TRUE(result.errors.ends_with("] there is no session bus (Connection refused)\n")) << result.errors;
}

TEST_F(AnXPCService, EndsWith0OnATerminationSignalAfterItsConnectionsWereTold) {
    // The command is stopped by the peer that watches for its name.
    auto peer = std::make_shared<BusPeer>();
    bool asked = false;
    const auto stop = [&] {
        if (std::exchange(asked, true))
            return;
        Queue::main().async([&, peer] {
            EXPECT_EQ(peer->call(message, text("hello")), emptyReply);
            ASSERT_TRUE(loop.runUntil([&] { return !peer->received().empty(); }));
            sd_bus_creds* owner = nullptr;
            ASSERT_GE(sd_bus_get_name_creds(peer->handle(), serviceName.c_str(), SD_BUS_CREDS_PID, &owner), 0);
            pid_t pid = 0;
            ASSERT_GE(sd_bus_creds_get_pid(owner, &pid), 0);
            sd_bus_creds_unref(owner);
            ::kill(pid, SIGTERM);
        });
    };
    const auto appeared = [](sd_bus_message*, void* given, sd_bus_error*) {
        (*static_cast<const decltype(stop)*>(given))();
        return 0;
    };
    ASSERT_GE(sd_bus_add_match(peer->handle(), nullptr,
                               "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                               "arg0='org.example.Echo'",
                               appeared, const_cast<void*>(static_cast<const void*>(&stop))),
              0);
    const auto result = TestSupport::runCommand({XPC_TEST_SERVICE, serviceName});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(result.errors.ends_with("] error handler: Process termination imminent\n")) << result.errors;
}

} // namespace
