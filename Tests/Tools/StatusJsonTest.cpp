// The status as programs read it.

#include "Tools/Status/StatusJson.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace Tools {

namespace {

std::string timeOf(std::int64_t microseconds) {
    ServiceStatus status;
    status.started = {microseconds};
    return statusJson(status).at("started").as_string().c_str();
}

} // namespace

TEST(TheStatusJson, SaysThatTheServiceDoesNotRun) {
    EXPECT_EQ(boost::json::serialize(statusJson(std::nullopt)), R"({"running":false})");
}

TEST(TheStatusJson, HasEveryPropertyInOrder) {
    ServiceStatus status{"1.0", "managed", "listener", "http://h/", {1'500'000}, 12, UINT64_MAX, {}};
    EXPECT_EQ(boost::json::serialize(statusJson(status)),
              R"({"running":true,"version":"1.0","mode":"managed","frontEnd":"listener","serviceRoot":"http://h/",)"
              R"("started":"1970-01-01T00:00:01Z","itemsReceived":12,"bytesReceived":18446744073709551615,)"
              R"("engines":[]})");
    status.engines = {
        {1, ":1.5", "idle", "", {2'000'000}, "", 0, {}, 7, {}, {}, {}, {}, {}, {}},
        {2, "", "downloading", "r", {}, "\\a", 4, 5, 6, Moment{0}, "\\b", Moment{60'000'000}, 9, "\\c", "move"}};
    EXPECT_EQ(boost::json::serialize(statusJson(status).at("engines")),
              R"([{"id":1,"peer":":1.5","state":"idle","reason":"","since":"1970-01-01T00:00:02Z","item":"",)"
              R"("bytes":0,"passes":7},)"
              R"({"id":2,"peer":"","state":"downloading","reason":"r","since":"1970-01-01T00:00:00Z","item":"\\a",)"
              R"("bytes":4,"total":5,"passes":6,"lastResponse":"1970-01-01T00:00:00Z","lastItem":"\\b",)"
              R"("lastItemTime":"1970-01-01T00:01:00Z","itemsLost":9,"lastLostItem":"\\c","lastLostReason":"move"}])");
}

TEST(TheStatusJson, WritesAnyTime) {
    EXPECT_EQ(timeOf(1'795'366'005'999'999), "2026-11-22T16:46:45Z");
    EXPECT_EQ(timeOf(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(timeOf(-62'135'596'800'000'000), "0001-01-01T00:00:00Z");
    EXPECT_EQ(timeOf(INT64_MAX), "294247-01-10T04:00:54Z");
    EXPECT_EQ(timeOf(INT64_MIN), "-290308-12-21T19:59:05Z");
}

TEST(TheStatusJson, HoldsAnyText) {
    ServiceStatus status;
    status.version = std::string("\0\x1B\"", 3);
    EXPECT_EQ(boost::json::serialize(statusJson(status).at("version")), R"("\u0000\u001b\"")");
}

} // namespace Tools
