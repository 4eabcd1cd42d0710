// The status of the service as it is read from the bus: what is taken, what is refused, and what it means.

#include "Tools/Status/ServiceStatus.h"

#include <gtest/gtest.h>

namespace Tools {

namespace {

namespace Ipc = Platform::Ipc;

const Ipc::Dictionary smallEngine{
    {"Id", std::uint64_t{1}},    {"Peer", ":1.5"}, {"State", "idle"},           {"Reason", ""},
    {"Since", std::int64_t{-5}}, {"Item", ""},     {"Bytes", std::uint64_t{0}}, {"Passes", std::uint64_t{7}}};
const Ipc::Dictionary wholeEngine{{"Id", std::uint64_t{2}},
                                  {"Peer", ""},
                                  {"State", "downloading"},
                                  {"Reason", "r"},
                                  {"Since", std::int64_t{3}},
                                  {"Item", "\\a"},
                                  {"Bytes", std::uint64_t{4}},
                                  {"Total", UINT64_MAX},
                                  {"Passes", std::uint64_t{6}},
                                  {"LastResponse", std::int64_t{7}},
                                  {"LastItem", "\\b"},
                                  {"LastItemTime", std::int64_t{8}},
                                  {"ItemsLost", std::uint64_t{9}},
                                  {"LastLostItem", "\\c"},
                                  {"LastLostReason", "move"}};
const Ipc::Dictionary whole{{"Version", "1.0.0"},
                            {"FrontEnd", "listener"},
                            {"ServiceRoot", "http://host/"},
                            {"Started", std::int64_t{1}},
                            {"ItemsReceived", std::uint64_t{12}},
                            {"BytesReceived", std::uint64_t{13}},
                            {"Mode", "managed"},
                            {"Engines", Ipc::Array{smallEngine, wholeEngine}}};

Ipc::Dictionary without(const Ipc::Dictionary& dictionary, const std::string& name) {
    std::vector<Ipc::DictionaryEntry> entries;
    for (const auto& entry : dictionary.entries()) {
        if (entry.name != name)
            entries.push_back(entry);
    }
    return Ipc::Dictionary(std::move(entries));
}

Ipc::Dictionary with(Ipc::Dictionary dictionary, const std::string& name, Ipc::Value value) {
    dictionary.set(name, std::move(value));
    return dictionary;
}

Ipc::Dictionary withEngine(Ipc::Value engine) {
    return with(whole, "Engines", Ipc::Array{std::move(engine)});
}

/// Why it cannot be read; empty where it can.
std::string refusal(const Ipc::Value& properties) {
    const auto read = serviceStatus(properties);
    const auto* text = std::get_if<std::string>(&read);
    return text == nullptr ? "" : *text;
}

EngineStatus inState(const std::string& state) {
    EngineStatus engine;
    engine.state = state;
    return engine;
}

ExitStatus exitStatus(const std::vector<std::string>& states) {
    ServiceStatus status;
    for (const auto& state : states)
        status.engines.push_back(inState(state));
    return exitStatusOf(status);
}

} // namespace

TEST(AServiceStatus, HoldsEveryProperty) {
    const auto read = serviceStatus(whole);
    const auto* status = std::get_if<ServiceStatus>(&read);
    ASSERT_NE(status, nullptr) << std::get<std::string>(read);
    EXPECT_EQ(status->version, "1.0.0");
    EXPECT_EQ(status->frontEnd, "listener");
    EXPECT_EQ(status->serviceRoot, "http://host/");
    EXPECT_EQ(status->started, Moment{1});
    EXPECT_EQ(status->itemsReceived, 12U);
    EXPECT_EQ(status->bytesReceived, 13U);
    EXPECT_EQ(status->mode, "managed");
    ASSERT_EQ(status->engines.size(), 2U);
    const EngineStatus small{1, ":1.5", "idle", "", Moment{-5}, "", 0, {}, 7, {}, {}, {}, {}, {}, {}};
    EXPECT_EQ(status->engines[0], small);
    const EngineStatus large{2, "",        "downloading", "r",       Moment{3}, "\\a", 4,     UINT64_MAX,
                             6, Moment{7}, "\\b",         Moment{8}, 9,         "\\c", "move"};
    EXPECT_EQ(status->engines[1], large);
}

TEST(AServiceStatus, MayHaveNoEngineAndPropertiesWithoutAMeaning) {
    const auto read = serviceStatus(with(with(whole, "Engines", Ipc::Array()), "Colour", "blue"));
    EXPECT_EQ(std::get<ServiceStatus>(read).engines, std::vector<EngineStatus>());
}

TEST(AServiceStatus, IsRefusedWhereAPropertyIsMissing) {
    for (const char* name :
         {"Version", "Mode", "FrontEnd", "ServiceRoot", "Started", "ItemsReceived", "BytesReceived", "Engines"})
        EXPECT_EQ(refusal(without(whole, name)), std::string(name) + " is missing");
    for (const char* name : {"Id", "Peer", "State", "Reason", "Since", "Item", "Bytes", "Passes"})
        EXPECT_EQ(refusal(withEngine(without(wholeEngine, name))), "Engines[0]." + std::string(name) + " is missing");
    for (const char* name :
         {"Total", "LastResponse", "LastItem", "LastItemTime", "ItemsLost", "LastLostItem", "LastLostReason"})
        EXPECT_EQ(refusal(withEngine(without(wholeEngine, name))), "") << name;
}

TEST(AServiceStatus, IsRefusedWhereAPropertyIsOfAnotherType) {
    for (const auto& entry : whole.entries())
        EXPECT_EQ(refusal(with(whole, entry.name, true)), entry.name + " is of another type");
    for (const auto& entry : wholeEngine.entries())
        EXPECT_EQ(refusal(with(whole, "Engines", Ipc::Array{smallEngine, with(wholeEngine, entry.name, Ipc::Null())})),
                  "Engines[1]." + entry.name + " is of another type");
    EXPECT_EQ(refusal(with(whole, "Started", std::uint64_t{1})), "Started is of another type");
    EXPECT_EQ(refusal(withEngine("idle")), "Engines[0] is no dictionary");
    EXPECT_EQ(refusal("running"), "the status is no dictionary");
}

TEST(AnEnginesState, HasAMeaning) {
    EXPECT_EQ(conditionOf(inState("created")), Condition::NotStarted);
    EXPECT_EQ(conditionOf(inState("idle")), Condition::Idle);
    EXPECT_EQ(conditionOf(inState("unconfigured")), Condition::Unconfigured);
    for (const char* state : {"stalled", "retrying", "blocked", "offline"})
        EXPECT_EQ(conditionOf(inState(state)), Condition::Failing) << state;
    for (const char* state : {"polling", "downloading", "flushing", "acknowledging", "dreaming", ""})
        EXPECT_EQ(conditionOf(inState(state)), Condition::Working) << state;
}

TEST(TheExitStatus, TellsHowTheServiceIs) {
    EXPECT_EQ(exitStatus({}), ExitStatus::TimedOut);
    EXPECT_EQ(exitStatus({"created"}), ExitStatus::TimedOut);
    for (const char* state : {"idle", "polling", "downloading", "flushing", "acknowledging"}) {
        EXPECT_EQ(exitStatus({state}), ExitStatus::Success) << state;
        EXPECT_EQ(exitStatus({"created", state}), ExitStatus::Success) << state;
    }
    for (const char* state : {"stalled", "retrying", "blocked", "offline"}) {
        EXPECT_EQ(exitStatus({state}), ExitStatus::TimedOut) << state;
        EXPECT_EQ(exitStatus({"idle", state, "idle"}), ExitStatus::TimedOut) << state;
        EXPECT_EQ(exitStatus({state, "unconfigured"}), ExitStatus::Configuration) << state;
    }
    EXPECT_EQ(exitStatus({"idle", "unconfigured"}), ExitStatus::Configuration);
}

} // namespace Tools
