// A client's end of a connection to a real service, which the bus launches.

#include "XPCWrappers/XPCConnection.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"
#include "XPCWrappers/MessageAddress.h"
#include "XPCWrappers/XPCParse.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>

namespace {

using namespace Quenmark;
using Platform::Queue;
using Platform::Ipc::ConnectionError;
using Platform::Ipc::MessageConnection;
using XPC::Array;
using XPC::Dictionary;
using XPC::Number;
using XPC::Object;
using Strings = std::vector<std::string>;

class AnXPCConnection : public testing::Test {
protected:
    std::shared_ptr<XPCConnection> connect(const std::string& name = "org.example.Echo") {
        auto connection = XPCConnection::initWithServiceName(name);
        connection->setEventHandler([this](const std::optional<Object>& message, XPCConnection& from) {
            EXPECT_EQ(Queue::current(), from.dispatchQueue());
            messages.push_back(message);
        });
        connection->setErrorHandler([this](XPCConnection& from, const std::string& description) {
            EXPECT_EQ(Queue::current(), from.dispatchQueue());
            errors.push_back(description);
        });
        return connection;
    }
    /// The object that came back for the one that was sent, or nil.
    std::optional<Object> echo(XPCConnection& connection, const Object& object) {
        const auto count = messages.size();
        connection.sendMessage(object);
        if (!loop.runUntil([&] { return messages.size() > count; }))
            return std::nullopt;
        const auto* response = messages.back()->as<Dictionary>();
        const auto* returned = response == nullptr ? nullptr : response->objectForKey("echo");
        return returned == nullptr ? std::nullopt : std::optional(*returned);
    }

    Platform::RunLoop loop;
    TestSupport::PrivateBus bus{
        {{"org.example.Echo", std::string(XPC_TEST_SERVICE) + " org.example.Echo"},
         {"org.example.my-service", std::string(XPC_TEST_SERVICE) + " org.example.my-service"}}};
    std::vector<std::optional<Object>> messages;
    Strings errors;
};

TEST_F(AnXPCConnection, ExchangesDictionariesWithAServiceThatItLaunches) {
    const auto connection = connect();
    EXPECT_EQ(connection->connectionName(), "org.example.Echo");
    EXPECT_EQ(connection->dispatchQueue().label(), "org.example.Echo");
    const Dictionary object{{"text", std::string("naïve")},
                            {"long", Number(-1LL)},
                            {"unsigned", Number(18446744073709551615ULL)},
                            {"true", Number(true)},
                            {"data", XPC::Data{1, 2, 3}},
                            {"date", XPC::Date{0.5}},
                            {"uuid", XPCUUID::initWithUUIDRef({7})},
                            {"list", Array{std::string("a"), Dictionary{}}}};
    EXPECT_EQ(echo(*connection, object), Object(object));
    // What the two kinds that do not survive become.
    EXPECT_EQ(echo(*connection, Dictionary{{"false", Number(false)}, {"int", Number(7)}}),
              Object(Dictionary{{"false", Number(0.0)}, {"int", Number(7.0)}}));
    EXPECT_EQ(errors, Strings{});
}

TEST_F(AnXPCConnection, WrapsWhatIsNoDictionary) {
    const auto connection = connect();
    EXPECT_EQ(echo(*connection, std::string("bare")), Object(Dictionary{{"contents", std::string("bare")}}));
    EXPECT_EQ(echo(*connection, Array{Number(1LL)}), Object(Dictionary{{"contents", Array{Number(1LL)}}}));
    EXPECT_EQ(echo(*connection, XPC::Null()), Object(Dictionary{}));
}

TEST_F(AnXPCConnection, SendsTextsAndKeysUpToTheirFirstZeroByte) {
    using namespace std::string_literals;
    const auto connection = connect();
    EXPECT_EQ(echo(*connection, Dictionary{{"key\0rest"s, "text\0rest"s}}),
              Object(Dictionary{{"key", std::string("text")}}));
}

TEST_F(AnXPCConnection, HandsOverOpenFiles) {
    const auto connection = connect();
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const auto reading = Platform::Ipc::Descriptor::adopt(ends[0]);
    auto returned = echo(*connection, Dictionary{{"file", XPC::FileHandle(Platform::Ipc::Descriptor::adopt(ends[1]))}});
    ASSERT_TRUE(returned);
    const auto* handle = returned->as<Dictionary>()->objectForKey("file")->as<XPC::FileHandle>();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(::write(handle->fileDescriptor(), "through", 7), 7);
    std::array<char, 8> text{};
    EXPECT_EQ(::read(reading.number(), text.data(), text.size()), 7);
    EXPECT_STREQ(text.data(), "through");
}

TEST_F(AnXPCConnection, TellsEachSideWhoTheOtherIs) {
    const auto connection = connect();
    ASSERT_TRUE(echo(*connection, std::string("who am I?")));
    const auto* process = messages.back()->as<Dictionary>()->objectForKey("process")->as<Number>();
    ASSERT_NE(process, nullptr);
    EXPECT_EQ(process->longValue(), ::getpid());
    EXPECT_TRUE(loop.runUntil([&] { return connection->connectionProcessID() != 4294967295; }));
    EXPECT_NE(connection->connectionProcessID(), static_cast<std::uint32_t>(::getpid()));
    EXPECT_EQ(connection->connectionEUID(), ::geteuid());
    EXPECT_EQ(connection->connectionEGID(), ::getegid());
    EXPECT_EQ(connection->connectionAuditSessionID(), [] {
        std::uint32_t session = 4294967295;
        if (std::FILE* file = std::fopen("/proc/self/sessionid", "re")) {
            EXPECT_EQ(std::fscanf(file, "%u", &session), 1);
            std::fclose(file);
        }
        return session;
    }());
}

TEST_F(AnXPCConnection, CancelsItsConnectionAtItsEnd) {
    auto connection = connect();
    ASSERT_TRUE(echo(*connection, std::string("there")));
    const auto platformConnection = connection->connection();
    int events = 0;
    platformConnection->setEventHandler([&](const auto&) { ++events; });
    connection.reset();
    platformConnection->send(Platform::Ipc::Dictionary{{"contents", "not sent any more"}});
    const auto another = connect();
    ASSERT_TRUE(echo(*another, std::string("one")));
    ASSERT_TRUE(echo(*another, std::string("two")));
    EXPECT_EQ(events, 0);
}

TEST_F(AnXPCConnection, SendsLogMessages) {
    const auto connection = connect();
    connection->_sendLog("a line for the log");
    // What is logged comes before the response to a later message.
    ASSERT_TRUE(echo(*connection, std::string("done")));
    EXPECT_NE(bus.log().find("] LOG: a line for the log\n"), std::string::npos) << bus.log();
    EXPECT_EQ(messages.size(), 1U);
}

TEST_F(AnXPCConnection, SendsLaterOnItsQueueInOrder) {
    const auto connection = connect();
    for (int count = 0; count < 20; ++count)
        connection->sendMessage(Dictionary{{"number", Number(std::int64_t{count})}});
    ASSERT_TRUE(loop.runUntil([&] { return messages.size() == 20; }));
    for (int count = 0; count < 20; ++count)
        EXPECT_EQ(*messages[static_cast<std::size_t>(count)]->as<Dictionary>()->objectForKey("echo"),
                  Object(Dictionary{{"number", Number(std::int64_t{count})}}));
}

TEST_F(AnXPCConnection, SendsBehindWhatItsQueueHoldsAlready) {
    const auto connection = connect();
    connection->dispatchQueue().async([&] {
        connection->connection()->send(Platform::Ipc::Dictionary{{"n", "first"}});
    });
    connection->sendMessage(Dictionary{{"n", std::string("second")}});
    ASSERT_TRUE(loop.runUntil([&] { return messages.size() == 2; }));
    EXPECT_EQ(*messages[0]->as<Dictionary>()->objectForKey("echo"), Object(Dictionary{{"n", std::string("first")}}));
    EXPECT_EQ(*messages[1]->as<Dictionary>()->objectForKey("echo"), Object(Dictionary{{"n", std::string("second")}}));
}

TEST_F(AnXPCConnection, HoldsEventsBackWhileItIsSuspended) {
    const auto connection = connect();
    ASSERT_TRUE(echo(*connection, std::string("first")));
    connection->suspend();
    connection->sendMessage(std::string("second"));
    const auto other = connect();
    ASSERT_TRUE(echo(*other, std::string("third")));
    EXPECT_EQ(messages.size(), 2U);
    connection->resume();
    EXPECT_TRUE(loop.runUntil([&] { return messages.size() == 3; }));
}

TEST_F(AnXPCConnection, UsesTheQueueThatItIsGiven) {
    const auto connection = connect();
    connection->setDispatchQueue(Queue::serial("another"));
    EXPECT_EQ(connection->dispatchQueue().label(), "another");
    EXPECT_TRUE(echo(*connection, std::string("hello")));
}

TEST_F(AnXPCConnection, HearsThatItsServiceWasInterrupted) {
    const auto connection = connect();
    ASSERT_TRUE(echo(*connection, std::string("hello")));
    ASSERT_TRUE(loop.runUntil([&] { return connection->connectionProcessID() != 4294967295; }));
    ::kill(static_cast<pid_t>(connection->connectionProcessID()), SIGKILL);
    EXPECT_TRUE(loop.runUntil([&] { return !errors.empty(); }));
    EXPECT_EQ(errors, (Strings{"Connection interrupted"}));
    EXPECT_EQ(echo(*connection, std::string("again")), Object(Dictionary{{"contents", std::string("again")}}));
}

TEST_F(AnXPCConnection, HearsThatItIsInvalid) {
    const TestSupport::LogCapture log;
    const auto connection = connect("org.example.Nobody");
    connection->sendMessage(std::string("hello"));
    EXPECT_TRUE(loop.runUntil([&] { return !errors.empty(); }));
    EXPECT_EQ(errors, (Strings{"Connection invalid"}));
}

TEST_F(AnXPCConnection, ReachesAServiceWhoseNameHasAHyphen) {
    const auto connection = connect("org.example.my-service");
    EXPECT_EQ(echo(*connection, std::string("hello")), Object(Dictionary{{"contents", std::string("hello")}}));
    EXPECT_EQ(errors, Strings{});
}

TEST_F(AnXPCConnection, IsInvalidWhereNoServiceCanHaveTheName) {
    using namespace std::string_literals;
    for (const auto& name : {"not a name"s, "x'y"s, ":1.77"s, ""s, "nodots"s, "a..b"s, "org.example.Echo\0x"s,
                             "\xFF.b"s, "a." + std::string(300, 'b')}) {
        const TestSupport::LogCapture log;
        errors.clear();
        const auto connection = connect(name);
        EXPECT_EQ(errors, Strings{}) << "its handler is called later, on its queue";
        connection->sendMessage(std::string("hello"));
        EXPECT_TRUE(loop.runUntil([&] { return !errors.empty(); })) << name;
        EXPECT_EQ(connection->connectionProcessID(), 4294967295U);
        EXPECT_EQ(errors, (Strings{"Connection invalid"})) << name;
        EXPECT_EQ(log.entries(), (Strings{"No service can have the name \"" + name + "\""}));
    }
}

TEST_F(AnXPCConnection, DropsErrorsWithoutAHandler) {
    const TestSupport::LogCapture log;
    const auto connection = connect("org.example.Nobody");
    const auto witness = connect("org.example.Nobody");
    connection->setErrorHandler(nullptr);
    connection->sendMessage(std::string("hello"));
    witness->sendMessage(std::string("hello"));
    EXPECT_TRUE(loop.runUntil([&] { return !errors.empty(); }));
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(AnXPCConnection, IsNilForNoConnection) {
    EXPECT_EQ(XPCConnection::initWithConnection(nullptr), nullptr);
}

TEST_F(AnXPCConnection, HasNoNameWhereItsPeerHasNone) {
    const auto connection = XPCConnection::initWithConnection(std::make_shared<MessageConnection>(""));
    EXPECT_EQ(connection->connectionName(), std::nullopt);
    EXPECT_EQ(connect()->connectionName(), "org.example.Echo");
}

TEST_F(AnXPCConnection, HandsTheDescriptionOfAnErrorToItsHandlerWithTheConnectionThatItConcerns) {
    const auto connection = connect();
    const auto other = connect();
    std::vector<std::pair<XPCConnection*, std::string>> handled;
    connection->setErrorHandler([&](XPCConnection& concerned, const std::string& description) {
        handled.emplace_back(&concerned, description);
        connection->setErrorHandler(nullptr);
    });
    const auto imminent = ConnectionError::of(ConnectionError::Kind::TerminationImminent);
    connection->invokeErrorHandlerWithObject(imminent, *other);
    EXPECT_EQ(handled, (std::vector{std::pair(other.get(), std::string("Process termination imminent"))}));
    connection->invokeErrorHandlerWithObject(imminent, *other);
    EXPECT_EQ(handled.size(), 1U) << "nobody is called where there is no handler";
}

TEST_F(AnXPCConnection, TakesTheEventsOfAConnectionThatItReceives) {
    const TestSupport::LogCapture log;
    const auto connection = connect();
    Strings received;
    connection->setErrorHandler([&](XPCConnection& from, const std::string& description) {
        EXPECT_EQ(&from, connection.get());
        received.push_back(description);
    });
    connection->setEventHandler([&](const std::optional<Object>& message, XPCConnection& from) {
        EXPECT_EQ(&from, connection.get());
        received.emplace_back(message->as<Dictionary>()->objectForKey("echo") != nullptr ? "echo" : "other");
    });
    const auto received1 = MessageConnection::toService(messageAddress("org.example.Echo"));
    const auto received2 = MessageConnection::toService(messageAddress("org.example.Nobody"));
    for (const auto& platform : {received1, received2}) {
        connection->receiveConnection(*platform);
        platform->resume();
    }
    received1->send("hello");
    ASSERT_TRUE(loop.runUntil([&] { return received.size() == 1; }));
    received2->send("hello");
    ASSERT_TRUE(loop.runUntil([&] { return received.size() == 2; }));
    EXPECT_EQ(received, (Strings{"echo", "Connection invalid"}));
}

TEST_F(AnXPCConnection, EndsWithItsLastHolder) {
    auto connection = connect();
    ASSERT_TRUE(echo(*connection, std::string("hello")));
    const std::weak_ptr<Platform::Ipc::MessageConnection> platform = connection->connection();
    connection.reset();
    EXPECT_TRUE(loop.runUntil([&] { return platform.expired(); }));
    EXPECT_TRUE(bus.waitForLog("error handler: Connection invalid")) << bus.log();
}

} // namespace
