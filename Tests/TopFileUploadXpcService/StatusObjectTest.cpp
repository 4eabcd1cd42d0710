// What the status object holds, property by property.

#include "TopFileUploadXpcService/StatusObject.h"

#include "Support/TemporaryHome.h"
#include "TopFileUploadXpcService/EngineStatusFixture.h"

#include <tuple>
#include <variant>
#include <vector>

namespace Quenmark {

using Platform::Ipc::BusProperty;
using Platform::Ipc::Dictionaries;
using Platform::Ipc::Dictionary;
using Platform::Ipc::PropertyValue;
using Platform::Ipc::Value;
using Change = BusProperty::Change;

class TheStatusObject : public EngineStatusFixture {
protected:
    PropertyValue valueOf(const std::string& name) const {
        for (const auto& property : object->properties()) {
            if (property.name == name)
                return property.value();
        }
        return std::string("(no such property)");
    }
    Dictionaries engines() const { return std::get<Dictionaries>(valueOf("Engines")); }

    const TestSupport::TemporaryHome home;
    const std::shared_ptr<Platform::Ipc::PropertyObject> object = statusObject(status, {"1.2.3", "messages"});
};

TEST_F(TheStatusObject, HasItsPlaceAndItsProperties) {
    EXPECT_EQ(object->path(), "/Velkarin/Quenmark/Status");
    EXPECT_EQ(object->interface(), "Velkarin.Quenmark.Status1");
    using Row = std::tuple<std::string, std::string, Change>;
    std::vector<Row> rows;
    for (const auto& property : object->properties())
        rows.emplace_back(property.name, property.signature, property.change);
    EXPECT_EQ(rows, (std::vector<Row>{
                        {"Version", "s", Change::Never},
                        {"FrontEnd", "s", Change::Never},
                        {"ServiceRoot", "s", Change::Unannounced},
                        {"Started", "x", Change::Never},
                        {"ItemsReceived", "t", Change::Announced},
                        {"BytesReceived", "t", Change::Announced},
                        {"Mode", "s", Change::Never},
                        {"Engines", "aa{sv}", Change::Announced},
                    }));
}

TEST_F(TheStatusObject, HasTheValuesOfTheService) {
    EXPECT_EQ(valueOf("Version"), PropertyValue(std::string("1.2.3")));
    EXPECT_EQ(valueOf("FrontEnd"), PropertyValue(std::string("messages")));
    EXPECT_EQ(valueOf("Mode"), PropertyValue(std::string("compatible")));
    EXPECT_EQ(valueOf("Started"), PropertyValue(std::int64_t{1'000'000'000}));
    start();
    download(1);
    engine->wrote(1, 42);
    end(1, {Kind::Acknowledged});
    EXPECT_EQ(valueOf("ItemsReceived"), PropertyValue(std::uint64_t{1}));
    EXPECT_EQ(valueOf("BytesReceived"), PropertyValue(std::uint64_t{42}));
}

TEST_F(TheStatusObject, NamesManagedMode) {
    const auto managed = statusObject(std::make_shared<ServiceStatus>(true), {"1", "listener"});
    EXPECT_EQ(managed->properties().at(6).value(), PropertyValue(std::string("managed")));
    EXPECT_EQ(managed->properties().at(1).value(), PropertyValue(std::string("listener")));
}

TEST_F(TheStatusObject, ReadsTheServiceRootFromTheSettings) {
    home.setDeployment(R"({"serviceHost":"files.example:81"})");
    EXPECT_EQ(valueOf("ServiceRoot"), PropertyValue(std::string("http://files.example:81/QuenmarkRestService/")));
}

TEST_F(TheStatusObject, ShowsANewEngineWithoutWhatIsNotKnown) {
    EXPECT_EQ(engines(), (Dictionaries{Dictionary{
                             {"Id", std::uint64_t{1}},
                             {"Peer", std::string(":1.7")},
                             {"State", std::string("created")},
                             {"Reason", std::string()},
                             {"Since", std::int64_t{1'000'000'000}},
                             {"Item", std::string()},
                             {"Bytes", std::uint64_t{0}},
                             {"Passes", std::uint64_t{0}},
                             {"ItemsLost", std::uint64_t{0}},
                             {"LastLostItem", std::string()},
                             {"LastLostReason", std::string()},
                         }}));
}

TEST_F(TheStatusObject, ShowsEverythingThatIsKnownOfAnEngine) {
    start();
    engine->passed();
    download(1, 5);
    end(1, {Kind::Acknowledged});
    clock.advance(std::chrono::seconds(1));
    offer(2, "\\b.txt");
    end(2, {.kind = Kind::Acknowledged, .reason = "move failed"});
    clock.advance(std::chrono::seconds(1));
    offer(3, "\\c.txt");
    engine->downloadBegan(3, 5);
    engine->totalKnown(3, 100);
    engine->wrote(3, 7);
    end(3, {Kind::Refused, 4}, false);
    EXPECT_EQ(engines(), (Dictionaries{Dictionary{
                             {"Id", std::uint64_t{1}},
                             {"Peer", std::string(":1.7")},
                             {"State", std::string("stalled")},
                             {"Reason", std::string("status 4")},
                             {"Since", std::int64_t{1'002'000'000}},
                             {"Item", std::string("\\c.txt")},
                             {"Bytes", std::uint64_t{12}},
                             {"Total", std::uint64_t{100}},
                             {"Passes", std::uint64_t{1}},
                             {"LastResponse", std::int64_t{1'002'000'000}},
                             {"LastItem", std::string("\\a.txt")},
                             {"LastItemTime", std::int64_t{1'000'000'000}},
                             {"ItemsLost", std::uint64_t{1}},
                             {"LastLostItem", std::string("\\b.txt")},
                             {"LastLostReason", std::string("move failed")},
                         }}));
}

TEST_F(TheStatusObject, ShowsEveryEngine) {
    const auto second = status->addEngine(":1.8");
    ASSERT_EQ(engines().size(), 2U);
    EXPECT_EQ(*engines()[1].find("Peer"), Value(std::string(":1.8")));
}

TEST_F(TheStatusObject, ShowsNamesThatTheBusCannotCarryAsTheyAreInTheLog) {
    start();
    const std::string zero("\\a\0b", 4);
    offer(1, zero);
    end(1, {.kind = Kind::Acknowledged, .reason = "no bytes"});
    EXPECT_EQ(*engines()[0].find("LastLostItem"), Value(std::string("\\a\\x00b")));
    offer(2, zero);
    end(2, {Kind::Acknowledged});
    EXPECT_EQ(*engines()[0].find("LastItem"), Value(std::string("\\a\\x00b")));
    offer(3, "\\\xff");
    engine->downloadBegan(3, 0);
    EXPECT_EQ(*engines()[0].find("Item"), Value(std::string("\\\\xFF")));
    end(3, {.kind = Kind::NotPlaced, .reason = "not writable: /a\xff"}, false);
    EXPECT_EQ(*engines()[0].find("Reason"), Value(std::string("not writable: /a\\xFF")));
}

TEST_F(TheStatusObject, ShowsNamesThatTheBusCanCarryAsTheyAre) {
    start();
    offer(1, "\\\u00e4\n\x1b[1m");
    engine->downloadBegan(1, 0);
    EXPECT_EQ(*engines()[0].find("Item"), Value(std::string("\\\u00e4\n\x1b[1m")));
}

} // namespace Quenmark
