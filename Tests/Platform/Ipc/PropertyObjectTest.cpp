// An object with properties beside a service's own object, on a real bus and read by busctl(1).

#include "Platform/Ipc/PropertyObject.h"

#include "ListenerFixture.h"
#include "Platform/Ipc/Message.h"
#include "Platform/Ipc/MessageService.h"
#include "RawPeer.h"
#include "Support/Command.h"
#include "Support/PropertyChanges.h"

#include <systemd/sd-bus.h>

#include <limits>
#include <new>
#include <stdexcept>

namespace {

using IpcTests::RawPeer;
using namespace Platform::Ipc;
using TestSupport::BusPeer;
using TestSupport::PropertyChanges;
using TestSupport::runCommand;
using Change = BusProperty::Change;
using Strings = std::vector<std::string>;

class APublishedObject : public ListenerFixture {
protected:
    static constexpr const char* factsPath = "/org/example/Facts";
    static constexpr const char* factsInterface = "org.example.Facts1";

    std::unique_ptr<Listener> publishedListener() {
        auto listener = std::make_unique<Listener>(ServiceAddress{name, path}, Interface{interface, methods});
        listener->publish(facts);
        listener->setEndHandler([this](const std::string& reason) { ends.push_back(reason); });
        listener->resume();
        return listener;
    }
    /// What busctl prints of a property, as JSON.
    static std::string get(const std::string& property) {
        const auto result =
            runCommand({"busctl", "--user", "--json=short", "get-property", name, factsPath, factsInterface, property});
        return result.status == 0 ? result.output : result.errors;
    }
    static BusPeer::Target properties(const char* method) {
        return {name, factsPath, "org.freedesktop.DBus.Properties", method};
    }
    static BusPeer::Fill arguments(const char* property) {
        return [property](sd_bus_message* message) {
            if (sd_bus_message_append(message, "ss", factsInterface, property) < 0)
                throw std::runtime_error("the message cannot be filled");
        };
    }

    TestSupport::LogCapture log;
    std::uint64_t count = 0;
    std::string text = "a";
    Dictionaries list;
    std::function<std::string()> readText = [this] { return text; };
    const std::shared_ptr<PropertyObject> facts = std::make_shared<PropertyObject>(
        factsPath, factsInterface,
        std::vector<BusProperty>{
            {"Count", Change::Announced, [this] { return count; }},
            {"Born", Change::Never, [] { return std::numeric_limits<std::int64_t>::min(); }},
            {"Text", Change::Unannounced, [this] { return readText(); }},
            {"List", Change::Announced, [this] { return list; }},
        });
};

TEST_F(APublishedObject, ShowsItsPropertiesAsTheyAreWhenTheyAreRead) {
    const auto listener = publishedListener();
    ASSERT_TRUE(BusPeer().waitForOwner(name));
    EXPECT_EQ(get("Count"), "{\"type\":\"t\",\"data\":0}\n");
    count = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(get("Count"), "{\"type\":\"t\",\"data\":18446744073709551615}\n");
    EXPECT_EQ(get("Born"), "{\"type\":\"x\",\"data\":-9223372036854775808}\n");
    text = "\u00e4 \"b\"";
    EXPECT_EQ(get("Text"), "{\"type\":\"s\",\"data\":\"\u00e4 \\\"b\\\"\"}\n");
    EXPECT_EQ(get("List"), "{\"type\":\"aa{sv}\",\"data\":[]}\n");
    list = {Dictionary{{"Id", std::uint64_t{1}}, {"Name", std::string("x")}, {"At", std::int64_t{-2}}}, Dictionary{}};
    EXPECT_EQ(get("List"),
              "{\"type\":\"aa{sv}\",\"data\":[{\"Id\":{\"type\":\"t\",\"data\":1},\"Name\":{\"type\":\"s\","
              "\"data\":\"x\"},\"At\":{\"type\":\"x\",\"data\":-2}},{}]}\n");
}

TEST_F(APublishedObject, DescribesItself) {
    const auto listener = publishedListener();
    ASSERT_TRUE(BusPeer().waitForOwner(name));
    const auto result = runCommand({"busctl", "--user", "introspect", "--xml-interface", name, factsPath});
    const std::string expected = R"( <interface name="org.example.Facts1">
  <property name="Count" type="t" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="invalidates"/>
  </property>
  <property name="Born" type="x" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
  </property>
  <property name="Text" type="s" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="false"/>
  </property>
  <property name="List" type="aa{sv}" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="invalidates"/>
  </property>
 </interface>
)";
    EXPECT_NE(result.output.find(expected), std::string::npos) << result.output << result.errors;
}

TEST_F(APublishedObject, MakesNoPeerOfItsReaders) {
    const auto listener = publishedListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(properties("Get"), arguments("Count"))->signature, "v");
    EXPECT_EQ(peer.call({name, factsPath, "org.freedesktop.DBus.Peer", "Ping"}), BusPeer::Reply{});
    EXPECT_EQ(asked, Strings{});
}

TEST_F(APublishedObject, LeavesTheServicesOwnObjectAsItIs) {
    const auto listener = publishedListener();
    ASSERT_TRUE(BusPeer().waitForOwner(name));
    const auto result = runCommand({"busctl", "--user", "introspect", name, path});
    EXPECT_EQ(result.output.find(factsInterface), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(interface), std::string::npos) << result.output;
}

TEST_F(APublishedObject, RefusesWhatIsNotForIt) {
    const auto listener = publishedListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(peer.call(properties("Get"), arguments("Other"))->errorName,
              "org.freedesktop.DBus.Error.UnknownProperty");
    EXPECT_EQ(peer.call({name, factsPath, factsInterface, "Count"})->errorName,
              "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(peer.call({name, factsPath, interface, "Work"})->errorName, "org.freedesktop.DBus.Error.UnknownMethod");
    const auto set = [](sd_bus_message* message) {
        if (sd_bus_message_append(message, "ssv", factsInterface, "Count", "t", std::uint64_t{7}) < 0)
            throw std::runtime_error("the message cannot be filled");
    };
    EXPECT_EQ(peer.call(properties("Set"), set)->errorName, "org.freedesktop.DBus.Error.PropertyReadOnly");
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(asked, Strings{});
}

TEST_F(APublishedObject, FailsTheCallWhoseValueCannotBeHad) {
    const auto listener = publishedListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    text = "b\xff";
    auto reply = peer.call(properties("Get"), arguments("Text"));
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(reply->errorText, "byte 1 of a string is zero or no part of well-formed UTF-8");
    list = {Dictionary{{"Name", std::string("a\0b", 3)}}};
    EXPECT_EQ(peer.call(properties("Get"), arguments("List"))->errorName, "org.freedesktop.DBus.Error.InvalidArgs");
    readText = []() -> std::string { throw std::runtime_error("no text"); };
    reply = peer.call(properties("Get"), arguments("Text"));
    EXPECT_EQ(reply->errorName, "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(reply->errorText, "no text");
    readText = []() -> std::string { throw std::bad_alloc(); };
    EXPECT_EQ(peer.call(properties("Get"), arguments("Text"))->errorName, "org.freedesktop.DBus.Error.NoMemory");
    EXPECT_EQ(peer.call(properties("Get"), arguments("Count"))->errorName, "");
}

TEST_F(APublishedObject, AnnouncesWhichPropertiesMayHaveChanged) {
    const auto listener = publishedListener();
    BusPeer peer;
    const PropertyChanges changes(peer, factsPath);
    ASSERT_TRUE(peer.waitForOwner(name));
    EXPECT_EQ(changes.announcements().size(), 0U);
    facts->announceChanges();
    ASSERT_TRUE(loop.runUntil([&] { return !changes.announcements().empty(); }));
    ASSERT_EQ(changes.announcements().size(), 1U);
    EXPECT_EQ(changes.announcements()[0].interface, factsInterface);
    EXPECT_EQ(changes.announcements()[0].told, Strings{});
    EXPECT_EQ(changes.announcements()[0].invalidated, (Strings{"Count", "List"}));
}

TEST_F(APublishedObject, SaysWhenItCanBeReached) {
    int reached = 0;
    facts->setReachableHandler([&] { ++reached; });
    const auto listener = publishedListener();
    EXPECT_EQ(reached, 0);
    ASSERT_TRUE(loop.runUntil([&] { return reached > 0; }));
    BusPeer peer;
    EXPECT_NE(peer.ownerOf(name), "");
    EXPECT_EQ(reached, 1);
}

TEST_F(APublishedObject, IsNotReachedWhereTheNameIsTaken) {
    BusPeer owner;
    ASSERT_GE(sd_bus_request_name(owner.handle(), name, 0), 0);
    facts->setReachableHandler([] { ADD_FAILURE(); });
    const auto listener = publishedListener();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
}

TEST_F(APublishedObject, IsThereAgainAfterAReconnection) {
    int reached = 0;
    facts->setReachableHandler([&] { ++reached; });
    const auto listener = publishedListener();
    BusPeer peer;
    const PropertyChanges changes(peer, factsPath);
    ASSERT_TRUE(peer.waitForOwner(name));
    const auto former = peer.ownerOf(name);
    const auto empty = RawPeer::call(name, path, interface, "Work", 1).size() - 1;
    RawPeer longest(bus.socketPath());
    longest.introduceItself();
    EXPECT_TRUE(longest.write(RawPeer::call(name, path, interface, "Work", maximumMessageSize - empty)));
    ASSERT_TRUE(loop.runUntil([&] { return !log.entries().empty(); }));
    ASSERT_TRUE(peer.waitForOwner(name, former));
    EXPECT_EQ(get("Count"), "{\"type\":\"t\",\"data\":0}\n");
    facts->announceChanges();
    EXPECT_TRUE(loop.runUntil([&] { return !changes.announcements().empty(); }));
    EXPECT_EQ(reached, 2);
}

TEST_F(APublishedObject, MayBeChangedWhereNobodyPublishesIt) {
    facts->announceChanges();
    auto listener = publishedListener();
    BusPeer peer;
    ASSERT_TRUE(peer.waitForOwner(name));
    listener.reset();
    facts->announceChanges();
    bus.kill();
    listener = publishedListener();
    ASSERT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    facts->announceChanges();
}

TEST_F(APublishedObject, EndsItsServiceWhereItsPathIsImpossible) {
    Listener listener({name, path}, {interface, methods});
    listener.publish(std::make_shared<PropertyObject>("no path", factsInterface, std::vector<BusProperty>{}));
    listener.setEndHandler([this](const std::string& reason) { ends.push_back(reason); });
    listener.resume();
    EXPECT_TRUE(loop.runUntil([&] { return !ends.empty(); }));
    EXPECT_EQ(ends, (Strings{"the object no path cannot be published (Invalid argument)"}));
}

TEST_F(APublishedObject, IsPublishedByAMessageServiceToo) {
    MessageService service({{name, path}, interface}, [](const auto&) { ADD_FAILURE(); });
    service.publish(facts);
    service.resume();
    ASSERT_TRUE(BusPeer().waitForOwner(name));
    EXPECT_EQ(get("Count"), "{\"type\":\"t\",\"data\":0}\n");
}

} // namespace
