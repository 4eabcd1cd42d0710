// The status as a person reads it: the screen, its lines and the line of a log.

#include "Tools/Status/StatusText.h"

#include <gtest/gtest.h>

#include <ostream>

namespace Tools {

std::ostream& operator<<(std::ostream& stream, const ScreenLine& line) {
    return stream << line.label << '|' << line.text << '|' << static_cast<int>(line.tone);
}

namespace {

using enum ScreenLine::Tone;

constexpr std::int64_t second = 1'000'000;

EngineStatus engineIn(const std::string& state, const std::string& reason = "", std::uint64_t id = 1) {
    EngineStatus engine;
    engine.id = id;
    engine.state = state;
    engine.reason = reason;
    engine.since = {100 * second};
    return engine;
}

/// A service of version 1.0 that was started at second 10, at second 200.
StatusReading readingOf(std::vector<EngineStatus> engines) {
    StatusReading reading;
    reading.status = ServiceStatus{"1.0", "managed", "listener", "http://host/", {10 * second}, 12, 3'500'000, {}};
    reading.status->engines = std::move(engines);
    reading.time = {200 * second};
    return reading;
}

const std::vector<ScreenLine> serviceLines{{"received", "12 items, 3.3 MiB"},
                                           {"service", "1.0, managed mode, running for 3 min 10 s"},
                                           {"web service", "http://host/"}};

std::vector<ScreenLine> withService(std::vector<ScreenLine> lines) {
    lines.insert(lines.end(), serviceLines.begin(), serviceLines.end());
    return lines;
}

} // namespace

TEST(ATimeSpan, HasItsTwoLargestUnits) {
    for (const auto& [seconds, text] : {std::pair<std::uint64_t, const char*>(0, "0 s"),
                                        {59, "59 s"},
                                        {60, "1 min"},
                                        {125, "2 min 5 s"},
                                        {3599, "59 min 59 s"},
                                        {3600, "1 h"},
                                        {3659, "1 h"},
                                        {3660, "1 h 1 min"},
                                        {86399, "23 h 59 min"},
                                        {86400, "1 d"},
                                        {90000, "1 d 1 h"},
                                        {UINT64_MAX, "213503982334601 d 7 h"}})
        EXPECT_EQ(timeSpan(seconds), text);
}

TEST(TheScreen, ShowsAnIdleEngine) {
    EXPECT_EQ(screenLines(readingOf({engineIn("idle")})), withService({{"state", "idle for 1 min 40 s", Good}}));
}

TEST(TheScreen, ShowsWhatEachStateCallsFor) {
    const auto first = [](const EngineStatus& engine) {
        auto lines = screenLines(readingOf({engine}));
        lines.resize(lines.size() - serviceLines.size());
        return lines;
    };
    using Lines = std::vector<ScreenLine>;
    for (const char* state : {"polling", "downloading", "flushing", "acknowledging"})
        EXPECT_EQ(first(engineIn(state)), (Lines{{"state", std::string(state) + " for 1 min 40 s", Good}}));
    EXPECT_EQ(first(engineIn("created")),
              (Lines{{"state", "created for 1 min 40 s", Bad}, {"what to do", "Run: quenmark start"}}));
    EXPECT_EQ(first(engineIn("unconfigured", "computerIdKey")),
              (Lines{{"state", "unconfigured for 1 min 40 s", Bad},
                     {"what to do", "computerIdKey is not set, so that nothing is asked for: run: quenmark prefs set "
                                    "computerIdKey VALUE"}}));
    EXPECT_EQ(first(engineIn("blocked", "folder in the way")),
              (Lines{{"state", "blocked for 1 min 40 s", Bad},
                     {"what to do", "A folder has the item's name: move or rename it; the item then arrives by "
                                    "itself"}}));
    for (const char* state : {"offline", "retrying"})
        EXPECT_EQ(first(engineIn(state, "no network")),
                  (Lines{{"state", std::string(state) + " for 1 min 40 s", Bad},
                         {"what to do", "This machine has no network: connect it; it is tried again by itself"}}));
    EXPECT_EQ(first(engineIn("stalled", "bad response")),
              (Lines{{"state", "stalled for 1 min 40 s", Bad},
                     {"what to do", "The web service's response cannot be read: check computerIdKey, and that "
                                    "http://host/ is the right web service; then run: quenmark start"}}));
}

TEST(TheScreen, ShowsAServiceThatDoesNotRun) {
    const std::vector<ScreenLine> expected{{"state", "not running", Bad}, {"what to do", "Run: quenmark start"}};
    EXPECT_EQ(screenLines({}), expected);
}

TEST(TheScreen, ShowsThatThereIsNoEngine) {
    EXPECT_EQ(screenLines(readingOf({})),
              withService({{"state", "no engine started", Bad}, {"what to do", "Run: quenmark start"}}));
}

TEST(TheScreen, ShowsWhatAnEngineHasDone) {
    auto engine = engineIn("idle");
    engine.lastItem = "\\Docs\\a.txt";
    engine.lastItemTime = Moment{20 * second};
    engine.lastResponse = Moment{198 * second};
    engine.itemsLost = 1;
    EXPECT_EQ(screenLines(readingOf({engine})),
              withService({{"state", "idle for 1 min 40 s", Good},
                           {"lost",
                            "1 item was acknowledged and not placed: send again what is missing; managed mode "
                            "loses nothing",
                            Bad},
                           {"last item", "\\Docs\\a.txt, 3 min ago"},
                           {"last response", "2 s ago"}}));
    engine.lastItemTime.reset();
    EXPECT_EQ(screenLines(readingOf({engine}))[2], (ScreenLine{"last item", "\\Docs\\a.txt"}));
}

TEST(TheScreen, ShowsTheProgressOfAnItem) {
    auto engine = engineIn("downloading");
    engine.item = "\\a";
    engine.bytes = 29 << 20;
    auto reading = readingOf({engine});
    const auto progress = [&] {
        const auto lines = screenLines(reading);
        EXPECT_EQ(lines[1], (ScreenLine{"item", "\\a"}));
        EXPECT_EQ(lines[2].label, "progress");
        return lines[2].text;
    };
    EXPECT_EQ(progress(), "29.0 MiB");
    reading.status->engines[0].total = 100 << 20;
    EXPECT_EQ(progress(), "29 % of 100.0 MiB");
    reading.status->engines[0].bytes = 19 << 20;
    reading.rates.add(*reading.status, std::chrono::seconds(10));
    EXPECT_EQ(progress(), "19 % of 100.0 MiB");
    reading.status->engines[0].bytes = 29 << 20;
    reading.rates.add(*reading.status, std::chrono::seconds(12));
    EXPECT_EQ(progress(), "29 % of 100.0 MiB, 5.0 MiB/s, 15 s left") << "71 MiB take 14.2 seconds";
    reading.status->engines[0].total = 54 << 20;
    EXPECT_EQ(progress(), "53 % of 54.0 MiB, 5.0 MiB/s, 5 s left");
    reading.status->engines[0].total = std::nullopt;
    EXPECT_EQ(progress(), "29.0 MiB, 5.0 MiB/s");
    reading.status->engines[0].total = 29 << 20;
    EXPECT_EQ(progress(), "100 % of 29.0 MiB, 5.0 MiB/s");
    reading.status->engines[0].total = 1;
    EXPECT_EQ(progress(), "100 % of 1 B, 5.0 MiB/s");
    reading.status->engines[0].total = 0;
    EXPECT_EQ(progress(), "100 % of 0 B, 5.0 MiB/s");
    reading.status->engines[0].total = UINT64_MAX;
    EXPECT_EQ(progress(), "0 % of 16.0 EiB, 5.0 MiB/s, 40722652 d 21 h left");
}

TEST(TheScreen, ShowsNoTimeLeftWhereNothingComes) {
    auto engine = engineIn("downloading");
    engine.item = "\\a";
    engine.bytes = 50;
    engine.total = 100;
    auto reading = readingOf({engine});
    reading.rates.add(*reading.status, std::chrono::seconds(10));
    reading.rates.add(*reading.status, std::chrono::seconds(12));
    EXPECT_EQ(screenLines(reading)[2].text, "50 % of 100 B, 0 B/s");
}

TEST(TheScreen, ShowsEnginesWithAProblemFirstAndFiveOfMany) {
    auto failing = engineIn("stalled", "no network", 2);
    failing.peer = ":1.7";
    auto reading = readingOf({engineIn("created", "", 1), failing, engineIn("idle", "", 3), engineIn("polling", "", 4),
                              engineIn("unconfigured", "k", 5)});
    const auto labels = [](const std::vector<ScreenLine>& lines) {
        std::string all;
        for (const auto& line : lines)
            all += line.label + ",";
        return all;
    };
    EXPECT_EQ(labels(screenLines(reading)),
              "engine 5,what to do,engine 2,what to do,engine 4,engine 3,engine 1,what to do,received,service,"
              "web service,");
    EXPECT_EQ(screenLines(reading)[2], (ScreenLine{"engine 2", "stalled for 1 min 40 s, of :1.7", Bad}));
    EXPECT_EQ(screenLines(reading)[4], (ScreenLine{"engine 4", "polling for 1 min 40 s", Good}));
    reading.status->engines.push_back(engineIn("idle", "", 6));
    EXPECT_EQ(labels(screenLines(reading)),
              "engine 5,what to do,engine 2,what to do,engine 4,engine 3,engine 6,and,received,service,web service,");
    EXPECT_EQ(screenLines(reading)[7], (ScreenLine{"and", "1 more engine"}));
    reading.status->engines.resize(10'000, engineIn("idle", "", 7));
    EXPECT_EQ(screenLines(reading)[7], (ScreenLine{"and", "9995 more engines"}));
    failing.peer = ":1.7";
    EXPECT_EQ(screenLines(readingOf({failing}))[0], (ScreenLine{"state", "stalled for 1 min 40 s", Bad}));
}

TEST(TheScreen, HoldsNothingThatSteersATerminal) {
    const std::string escape = "\x1B[2J";
    auto engine = engineIn("idle" + escape);
    engine.peer = engine.item = escape;
    engine.lastItem = escape;
    auto reading = readingOf({engine, engine});
    reading.status->version = reading.status->mode = reading.status->serviceRoot = std::string("\0\n", 2);
    for (const auto& line : screenLines(reading))
        EXPECT_EQ(line.text.find_first_of(std::string("\x1B\n\0", 3)), std::string::npos) << line;
    EXPECT_EQ(screenLines(reading)[0].text, "idle\\x1B[2J for 1 min 40 s, of \\x1B[2J");
    EXPECT_EQ(screenLines(reading)[1].text, "\\x1B[2J");
    EXPECT_EQ(screenLines(reading)[3].text, "\\x1B[2J");
    const auto lines = screenLines(reading);
    EXPECT_EQ(lines[lines.size() - 2].text, "\\x00\\x0A, \\x00\\x0A mode, running for 3 min 10 s");
    EXPECT_EQ(lines.back().text, "\\x00\\x0A");
    EXPECT_EQ(statusLine(reading).find('\x1B'), std::string::npos);
}

TEST(TheScreen, TakesAnyTime) {
    auto engine = engineIn("idle");
    engine.since = {INT64_MIN};
    engine.lastResponse = Moment{INT64_MAX};
    auto reading = readingOf({engine});
    reading.time = {INT64_MAX};
    EXPECT_EQ(screenLines(reading)[0].text, "idle for 213503982 d 8 h");
    EXPECT_EQ(screenLines(reading)[1].text, "0 s ago");
    reading.time = {200 * second};
    EXPECT_EQ(screenLines(reading)[1].text, "0 s ago") << "a time to come";
    reading.status->engines[0].lastResponse = Moment{200 * second - 999'999};
    EXPECT_EQ(screenLines(reading)[1].text, "0 s ago");
    reading.status->engines[0].lastResponse = Moment{199 * second};
    EXPECT_EQ(screenLines(reading)[1].text, "1 s ago");
}

TEST(TheScreensText, HasItsLabelsInOneColumn) {
    EXPECT_EQ(screenText({{"state", "not running", Bad}, {"what to do", "x"}}, false, std::nullopt),
              "state          not running\nwhat to do     x\n");
    EXPECT_EQ(screenText({{"engine 18446744073709551615", "idle", Good}}, false, std::nullopt),
              "engine 18446744073709551615 idle\n");
    EXPECT_EQ(screenText({{"engine 1234567", "a", Good}, {"engine 12345678", "b", Good}}, false, std::nullopt),
              "engine 1234567 a\nengine 12345678 b\n");
    EXPECT_EQ(screenText({}, true, 80), "");
}

TEST(TheScreensText, HasColoursWhereTheyAreWanted) {
    const std::vector<ScreenLine> lines{{"a", "good", Good}, {"b", "bad", Bad}, {"c", "plain"}};
    EXPECT_EQ(screenText(lines, true, std::nullopt), "a              \x1b[32mgood\x1b[0m\n"
                                                     "b              \x1b[31mbad\x1b[0m\n"
                                                     "c              plain\n");
    EXPECT_EQ(screenText(lines, false, std::nullopt),
              "a              good\nb              bad\nc              plain\n");
}

TEST(TheScreensText, GoesOnBelowWhereALineIsTooLong) {
    const auto text = [](const std::string& line, std::size_t columns, bool hasColours = false) {
        return screenText({{"a", line, Bad}}, hasColours, columns);
    };
    const std::string label = "a              ";
    const std::string below = "               ";
    // 40 columns leave 24 for the text.
    EXPECT_EQ(text("123456789 123456789 1234", 40), label + "123456789 123456789 1234\n");
    EXPECT_EQ(text("123456789 123456789 12345", 40), label + "123456789 123456789\n" + below + "12345\n");
    EXPECT_EQ(text("123456789 12345678901234 x", 40), label + "123456789 12345678901234\n" + below + "x\n");
    EXPECT_EQ(text("1234567890123456789012345 x", 40), label + "123456789012345678901234\n" + below + "5 x\n");
    EXPECT_EQ(text(" 23456789012345678901234567", 40), label + " 23456789012345678901234\n" + below + "567\n");
    EXPECT_EQ(text("1234567890 1234567890 1234     x", 40), label + "1234567890 1234567890\n" + below + "1234     x\n");
    EXPECT_EQ(text("12345678901234567890123é", 40), label + "12345678901234567890123\n" + below + "é\n");
    EXPECT_EQ(text("123456789 123456789 12345", 40, true),
              label + "\x1b[31m123456789 123456789\x1b[0m\n" + below + "\x1b[31m12345\x1b[0m\n");
    for (const std::size_t columns : {std::size_t{0}, std::size_t{1}, std::size_t{36}})
        EXPECT_EQ(text("123456789 1234567890 x", columns), label + "123456789 1234567890\n" + below + "x\n")
            << "no text is narrower than 20";
    EXPECT_EQ(text("123456789 1234567890 x", 37), label + "123456789 1234567890\n" + below + "x\n");
    EXPECT_EQ(text("123456789 1234567890 x", 38), label + "123456789 1234567890 x\n");
}

TEST(TheStatusLine, TellsWhatEachEngineDoes) {
    EXPECT_EQ(statusLine({}), "not running");
    EXPECT_EQ(statusLine(readingOf({})), "no engine started; 12 items, 3.3 MiB");
    EXPECT_EQ(statusLine(readingOf({engineIn("idle")})), "idle; 12 items, 3.3 MiB");
    auto engine = engineIn("downloading");
    engine.item = "\\a";
    engine.bytes = 512;
    engine.total = 1024;
    auto reading = readingOf({engine, engineIn("stalled", "transport -1004")});
    EXPECT_EQ(statusLine(reading), "stalled (transport -1004); downloading \\a 50 % of 1.0 KiB; 12 items, 3.3 MiB");
    reading.status->engines.resize(5, engineIn("idle"));
    reading.status->itemsReceived = 1;
    reading.status->bytesReceived = 0;
    EXPECT_EQ(statusLine(reading),
              "stalled (transport -1004); downloading \\a 50 % of 1.0 KiB; idle; idle; idle; 1 item, 0 B");
    reading.status->engines.resize(6, engineIn("idle"));
    EXPECT_EQ(statusLine(reading), "stalled (transport -1004); downloading \\a 50 % of 1.0 KiB; idle; idle; idle; and "
                                   "1 more engine; 1 item, 0 B");
}

} // namespace Tools
