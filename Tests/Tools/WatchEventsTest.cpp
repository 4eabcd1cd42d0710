// What a watch tells of two readings of the status: events for programs, and a line for people.

#include "Tools/Status/WatchEvents.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace Tools {

namespace {

using Texts = std::vector<std::string>;

EngineStatus watchedEngine(const std::string& state, std::uint64_t bytes = 0) {
    EngineStatus engine;
    engine.id = 1;
    engine.state = state;
    if (state == "downloading") {
        engine.item = "\\a";
        engine.bytes = bytes;
    }
    return engine;
}

ServiceStatus statusWith(std::vector<EngineStatus> engines) {
    ServiceStatus status;
    status.engines = std::move(engines);
    return status;
}

class AWatchOfTheStatus : public testing::Test {
protected:
    /// The events of the next reading.
    Texts eventsOf(std::optional<ServiceStatus> status, std::chrono::milliseconds time = {}) {
        const auto before = reading.status;
        reading.status = std::move(status);
        if (reading.status)
            reading.rates.add(*reading.status, time);
        Texts texts;
        for (const auto& event : eventsSince(before, reading))
            texts.push_back(boost::json::serialize(event));
        lost = enginesThatLost(before, reading);
        return texts;
    }

    StatusReading reading;
    std::vector<EngineStatus> lost;
};

} // namespace

TEST_F(AWatchOfTheStatus, HasAnEventForEachStateThatAnEngineEnters) {
    EXPECT_EQ(eventsOf(std::nullopt), Texts{});
    EXPECT_EQ(eventsOf(statusWith({watchedEngine("idle")})), Texts{R"({"event":"state","engine":1,"state":"idle"})"});
    auto engine = watchedEngine("idle");
    engine.passes = 7;
    EXPECT_EQ(eventsOf(statusWith({engine})), Texts{});
    engine = watchedEngine("stalled");
    engine.reason = "status 1";
    engine.item = "\\a";
    const Texts stalled{R"({"event":"state","engine":1,"state":"stalled","reason":"status 1","item":"\\a"})"};
    EXPECT_EQ(eventsOf(statusWith({engine})), stalled);
    engine.reason = "status 5";
    EXPECT_EQ(eventsOf(statusWith({engine})).size(), 1U);
    EXPECT_EQ(eventsOf(std::nullopt), Texts{});
    engine.reason = "status 1";
    EXPECT_EQ(eventsOf(statusWith({engine})), stalled) << "the service was started anew";
}

TEST_F(AWatchOfTheStatus, HasAnEventForTheProgressOfADownload) {
    EXPECT_EQ(eventsOf(statusWith({watchedEngine("downloading", 100)})),
              (Texts{R"({"event":"state","engine":1,"state":"downloading","item":"\\a"})",
                     R"({"event":"progress","engine":1,"item":"\\a","bytes":100})"}));
    auto engine = watchedEngine("downloading", 100);
    engine.total = 1000;
    EXPECT_EQ(eventsOf(statusWith({engine}), std::chrono::seconds(1)),
              Texts{R"({"event":"progress","engine":1,"item":"\\a","bytes":100,"total":1000,"bytesPerSecond":0})"});
    EXPECT_EQ(eventsOf(statusWith({engine}), std::chrono::seconds(1)), Texts{});
    engine.bytes = 300;
    EXPECT_EQ(eventsOf(statusWith({engine}), std::chrono::seconds(2)),
              Texts{R"({"event":"progress","engine":1,"item":"\\a","bytes":300,"total":1000,"bytesPerSecond":100,)"
                    R"("secondsLeft":7})"});
}

TEST_F(AWatchOfTheStatus, HasAnEventForItemsThatAreLost) {
    auto engine = watchedEngine("idle");
    engine.itemsLost = 1;
    eventsOf(statusWith({engine}));
    EXPECT_TRUE(lost.empty()) << "that was before";
    engine.itemsLost = 3;
    engine.lastLostItem = "\\b";
    engine.lastLostReason = "move failed";
    EXPECT_EQ(eventsOf(statusWith({engine})),
              Texts{R"({"event":"lost","engine":1,"item":"\\b","reason":"move failed","items":2})"});
    EXPECT_EQ(lost, std::vector<EngineStatus>{engine});
    EXPECT_EQ(eventsOf(statusWith({engine})), Texts{});
    EXPECT_TRUE(lost.empty());
    engine.itemsLost = 1;
    EXPECT_EQ(eventsOf(statusWith({engine})), Texts{});
}

TEST_F(AWatchOfTheStatus, HasALineOfWhatIsGoingOn) {
    EXPECT_EQ(activityLine(reading), "the service does not run");
    eventsOf(statusWith({watchedEngine("idle")}));
    EXPECT_EQ(activityLine(reading), "");
    auto engine = watchedEngine("downloading", 512);
    engine.total = 1024;
    eventsOf(statusWith({engine}));
    EXPECT_EQ(activityLine(reading), "50 % of 1.0 KiB \\a");
    engine.bytes = 768;
    engine.item = "\\a\n\x1B";
    eventsOf(statusWith({engine}), std::chrono::seconds(1));
    EXPECT_EQ(activityLine(reading), "75 % of 1.0 KiB \\a\\x0A\\x1B");
    engine.bytes = 896;
    auto second = watchedEngine("offline");
    second.id = 2;
    second.reason = "transport -1004";
    eventsOf(statusWith({engine, second}), std::chrono::seconds(2));
    EXPECT_EQ(activityLine(reading), "offline (transport -1004); 87 % of 1.0 KiB, 128 B/s, 1 s left \\a\\x0A\\x1B");
}

} // namespace Tools
