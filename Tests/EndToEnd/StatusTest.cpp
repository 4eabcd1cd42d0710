// What the real service tells of itself on the bus, and what reading it leaves alone.

#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/StatusReader.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <stdexcept>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::runCommand;

namespace {

constexpr const char* ownPath = "/Velkarin/Quenmark/TopFileUploadXpcService";
constexpr const char* statusPath = "/Velkarin/Quenmark/Status";
constexpr const char* statusInterface = "Velkarin.Quenmark.Status1";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

constexpr const char* description = R"( <interface name="Velkarin.Quenmark.Status1">
  <property name="Version" type="s" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
  </property>
  <property name="FrontEnd" type="s" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
  </property>
  <property name="ServiceRoot" type="s" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="false"/>
  </property>
  <property name="Started" type="x" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
  </property>
  <property name="ItemsReceived" type="t" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="invalidates"/>
  </property>
  <property name="BytesReceived" type="t" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="invalidates"/>
  </property>
  <property name="Mode" type="s" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
  </property>
  <property name="Engines" type="aa{sv}" access="read">
   <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="invalidates"/>
  </property>
 </interface>
)";

std::int64_t microsecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/// The interfaces that an object's introspection data names, in order.
std::vector<std::string> interfacesOf(const std::string& path) {
    const auto xml = runCommand({"busctl", "--user", "introspect", "--xml-interface",
                                 "Velkarin.Quenmark.TopFileUploadXpcService", path})
                         .output;
    const std::string mark = "<interface name=\"";
    std::vector<std::string> interfaces;
    for (auto place = xml.find(mark); place != std::string::npos; place = xml.find(mark, place)) {
        place += mark.size();
        interfaces.push_back(xml.substr(place, xml.find('"', place) - place));
    }
    return interfaces;
}

BusPeer::Fill arguments(const char* types, const char* first, const char* second = nullptr) {
    return [=](sd_bus_message* message) {
        if (sd_bus_message_append(message, types, first, second) < 0)
            throw std::runtime_error("the message cannot be filled");
    };
}

} // namespace

class TheStatus : public RealServiceFixture {
protected:
    void launch() {
        deploy(server.host());
        BusPeer peer;
        ASSERT_TRUE(peer.call({busName, "/", "org.freedesktop.DBus.Peer", "Ping"}));
    }
};

TEST_P(TheStatus, NamesTheProgramAndHowItRuns) {
    const auto before = microsecondsNow();
    launch();
    const auto after = microsecondsNow();
    EXPECT_EQ(StatusReader::property("Version"), QUENMARK_VERSION);
    EXPECT_EQ(StatusReader::property("FrontEnd"), GetParam().isWrapper ? "messages" : "listener");
    EXPECT_EQ(StatusReader::property("Mode"), isManaged() ? "managed" : "compatible");
    EXPECT_EQ(StatusReader::property("ServiceRoot"), "http://" + server.host() + "/QuenmarkRestService/");
    EXPECT_EQ(StatusReader::property("ItemsReceived"), "0");
    EXPECT_EQ(StatusReader::property("BytesReceived"), "0");
    const auto started = std::stoll(StatusReader::property("Started"));
    EXPECT_GE(started, before);
    EXPECT_LE(started, after);
}

TEST_P(TheStatus, DescribesItselfAndLeavesTheOtherObjectAsItIs) {
    launch();
    const auto xml = runCommand({"busctl", "--user", "introspect", "--xml-interface", busName, statusPath}).output;
    EXPECT_NE(xml.find(description), std::string::npos) << xml;
    const std::vector<std::string> standard{"org.freedesktop.DBus.Peer", "org.freedesktop.DBus.Introspectable",
                                            "org.freedesktop.DBus.Properties"};
    auto expected = standard;
    expected.emplace_back(statusInterface);
    EXPECT_EQ(interfacesOf(statusPath), expected);
    expected.back() =
        GetParam().isWrapper ? "Velkarin.Quenmark.XPC" : "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol";
    EXPECT_EQ(interfacesOf(ownPath), expected);
}

TEST_P(TheStatus, ShowsTheEngineOfAPeerThatHasStartedOne) {
    deploy(server.host());
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; }));
    EXPECT_EQ(StatusReader::member("Id"), "1");
    EXPECT_EQ(StatusReader::member("Peer"), isManaged() ? "" : peer.uniqueName());
    EXPECT_EQ(StatusReader::state(), "idle");
    EXPECT_EQ(StatusReader::member("Reason"), "");
}

TEST_P(TheStatus, MakesNoEngineWhenItIsRead) {
    launch();
    for (int reading = 0; reading < 3; ++reading)
        EXPECT_EQ(StatusReader::engines().size(), isManaged() ? 1U : 0U);
    EXPECT_EQ(runCommand({"busctl", "--user", "introspect", busName, statusPath}).status, 0);
    EXPECT_EQ(StatusReader::engines().size(), isManaged() ? 1U : 0U);
    EXPECT_TRUE(isManaged() || count(pollTarget) == 0);
}

TEST_P(TheStatus, IsReadByAHostilePeerWithoutHarm) {
    deploy(server.host());
    BusPeer innocent;
    askToStart(innocent);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 1; }));
    const auto process = serviceProcess();
    BusPeer hostile;
    const auto polls = count(pollTarget);
    // So many at once, as fast as they can be sent.
    std::vector<std::shared_ptr<std::optional<BusPeer::Reply>>> replies;
    for (int reading = 0; reading < 2000; ++reading) {
        replies.push_back(std::make_shared<std::optional<BusPeer::Reply>>());
        hostile.start({busName, statusPath, propertiesInterface, "GetAll"}, arguments("s", statusInterface),
                      replies.back());
    }
    EXPECT_EQ(hostile.call({busName, statusPath, statusInterface, "GetTopFileUpload"}).value().errorName,
              "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(hostile.call({busName, statusPath, "Velkarin.Quenmark.XPC", "Message"}).value().errorName,
              "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(hostile.call({busName, statusPath, propertiesInterface, "Get"}, arguments("ss", statusInterface, "Id"))
                  .value()
                  .errorName,
              "org.freedesktop.DBus.Error.UnknownProperty");
    EXPECT_EQ(hostile.call({busName, statusPath, propertiesInterface, "Get"}, arguments("s", statusInterface))
                  .value()
                  .errorName,
              "org.freedesktop.DBus.Error.InvalidArgs");
    for (const char* property : {"Version", "Engines", "ItemsReceived"}) {
        const auto set = [property](sd_bus_message* message) {
            if (sd_bus_message_append(message, "ssv", statusInterface, property, "s", "x") < 0)
                throw std::runtime_error("the message cannot be filled");
        };
        EXPECT_EQ(hostile.call({busName, statusPath, propertiesInterface, "Set"}, set).value().errorName,
                  "org.freedesktop.DBus.Error.PropertyReadOnly");
    }
    ASSERT_TRUE(pollUntil([&] {
        return std::all_of(replies.begin(), replies.end(), [](const auto& reply) { return reply->has_value(); });
    }));
    for (const auto& reply : replies)
        EXPECT_EQ((*reply).value().errorName, "");
    EXPECT_EQ(StatusReader::engines().size(), 1U);
    EXPECT_EQ(StatusReader::property("Version"), QUENMARK_VERSION);
    EXPECT_TRUE(pollUntil([&] { return count(pollTarget) > polls; }));
    EXPECT_EQ(serviceProcess(), process);
}

INSTANTIATE_TEST_SUITE_P(Variations, TheStatus, ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
