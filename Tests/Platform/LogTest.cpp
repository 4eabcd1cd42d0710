#include "Platform/Log.h"

#include "Support/LogCapture.h"
#include "Support/Pattern.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <map>
#include <thread>

namespace {

namespace Log = Platform::Log;
using namespace std::string_literals;

struct Logged {
    pid_t process = 0;
    std::string text;
};

/// What a process writes to standard error that logs these entries; `prepare` is called with the stream first.
Logged loggedByAProcess(const std::vector<std::string>& entries, const std::function<void(int)>& prepare = {}) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    // Takes the longest entry also before it is read.
    EXPECT_GE(::fcntl(ends[1], F_SETPIPE_SZ, 1 << 20), 1 << 20);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDERR_FILENO);
        if (prepare)
            prepare(ends[1]);
        for (const auto& entry : entries)
            Log::write(entry);
        ::_exit(0);
    }
    ::close(ends[1]);
    Logged logged{child, {}};
    std::array<char, 4096> piece{};
    for (ssize_t got = 0; (got = ::read(ends[0], piece.data(), piece.size())) > 0;)
        logged.text.append(piece.data(), static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return logged;
}

/// The entry of a line, without time, program and process.
std::string entryOf(const Logged& logged) {
    const std::string marker = "[" + std::to_string(logged.process) + "] ";
    const auto at = logged.text.find(marker);
    return at == std::string::npos ? "(no marker) " + logged.text.substr(0, 80)
                                   : logged.text.substr(at + marker.size());
}

TEST(TheLog, BeginsEachEntryWithTimeProgramAndProcess) {
    const auto logged = loggedByAProcess({"connection not availble........"});
    const TestSupport::Pattern line(
        "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} PlatformTests\\[" +
        std::to_string(logged.process) + "\\] connection not availble\\.{8}\n");
    EXPECT_TRUE(line.matches(logged.text)) << logged.text;
}

TEST(TheLog, HasALineForEachEntry) {
    const auto logged = loggedByAProcess({"one", "", "three"});
    const TestSupport::Pattern lines(".*\\] one\n.*\\] \n.*\\] three\n");
    EXPECT_TRUE(lines.matches(logged.text)) << logged.text;
}

TEST(TheLog, WritesControlCharactersAsNumbers) {
    EXPECT_EQ(entryOf(loggedByAProcess({"a\r\x1B[31mb\0c\x7F\x01"s})), "a\\x0D\\x1B[31mb\\x00c\\x7F\\x01\n");
    EXPECT_EQ(entryOf(loggedByAProcess({"a\xC2\x9B"s + "31mb\xC2\x80\xC2\x9F"})),
              "a\\xC2\\x9B31mb\\xC2\\x80\\xC2\\x9F\n");
}

TEST(TheLog, KeepsTabsAndLetters) {
    EXPECT_EQ(entryOf(loggedByAProcess({"a\tb é € \xC2\xA0 \xF0\x9F\x98\x80"})),
              "a\tb é € \xC2\xA0 \xF0\x9F\x98\x80\n");
}

TEST(TheLog, BeginsNoLineAtTheFirstColumnForALineBreakInAnEntry) {
    const std::string forged = "2026-11-22 07:00:00.000 PlatformTests[1] Connection available... ";
    for (const auto& [lineBreak, written] : std::map<std::string, std::string>{{"\n", "\n\t"},
                                                                               {"\r", "\\x0D"},
                                                                               {"\r\n", "\\x0D\n\t"},
                                                                               {"\n\n", "\n\t\n\t"},
                                                                               {"\v", "\\x0B"},
                                                                               {"\f", "\\x0C"},
                                                                               {"\u0085", "\\xC2\\x85"},
                                                                               {"\u2028", "\\xE2\\x80\\xA8"},
                                                                               {"\u2029", "\\xE2\\x80\\xA9"}})
        EXPECT_EQ(entryOf(loggedByAProcess({"LOG: a" + lineBreak + forged})), "LOG: a" + written + forged + "\n");
}

TEST(TheLog, WritesEveryPriorityToStandardErrorAlike) {
    for (const auto priority :
         {Log::Priority::Error, Log::Priority::Warning, Log::Priority::Info, Log::Priority::Debug})
        EXPECT_EQ(entryOf(loggedByAProcess({}, [&](int) { Log::write("entry", priority); })), "entry\n");
}

TEST(TheLog, LeavesOutWhatGoesBeyondTheLimitAndSaysSo) {
    const std::string limit(64 << 10, 'x');
    EXPECT_EQ(entryOf(loggedByAProcess({limit})), limit + "\n");
    EXPECT_EQ(entryOf(loggedByAProcess({limit + "123"})), limit + " ... (3 more bytes)\n");
}

TEST(TheLog, CutsNoCharacterInTwo) {
    const std::string almost((64 << 10) - 1, 'x');
    EXPECT_EQ(entryOf(loggedByAProcess({almost + "€€"})), almost + " ... (6 more bytes)\n");
    EXPECT_EQ(entryOf(loggedByAProcess({almost.substr(1) + "\xF0\x9F\x98\x80"})),
              almost.substr(1) + " ... (4 more bytes)\n");
    const std::string noText(70'000, '\x80');
    std::string numbers;
    for (int byte = 0; byte < 64 << 10; ++byte)
        numbers += "\\x80";
    EXPECT_EQ(entryOf(loggedByAProcess({noText})), numbers + " ... (4464 more bytes)\n");
}

TEST(TheLog, GoesToStandardErrorWhereTheJournalIsAnotherStream) {
    for (const char* stream : {"1:1", "", "x", "8:12345678"}) {
        const TestSupport::ScopedEnvironment environment{{"JOURNAL_STREAM", stream}};
        EXPECT_EQ(entryOf(loggedByAProcess({"entry"})), "entry\n") << stream;
    }
}

TEST(TheLog, DoesNotStopAProgramWithoutStandardError) {
    const auto logged = loggedByAProcess({"one"}, [](int) { ::close(STDERR_FILENO); });
    EXPECT_EQ(logged.text, "");
}

TEST(TheLog, HandsEntriesToASinkAsTheyAre) {
    std::vector<std::string> entries;
    Log::setSink([&](std::string_view entry) { entries.emplace_back(entry); });
    Log::write("a\x1B\0b"s);
    Log::write(std::string(100'000, 'x'));
    Log::setSink({});
    EXPECT_EQ(entries, (std::vector<std::string>{"a\x1B\0b"s, std::string(100'000, 'x')}));
}

TEST(TheLog, TellsASinkThePriorities) {
    std::vector<std::pair<std::string, Log::Priority>> entries;
    Log::setSink([&](std::string_view entry, Log::Priority priority) { entries.emplace_back(entry, priority); });
    Log::write("a");
    Log::write("b", Log::Priority::Error);
    Log::setSink({});
    EXPECT_EQ(entries, (std::vector<std::pair<std::string, Log::Priority>>{{"a", Log::Priority::Info},
                                                                           {"b", Log::Priority::Error}}));
}

TEST(TheLog, MayBeWrittenFromManyThreads) {
    const auto logged = loggedByAProcess({}, [](int) {
        std::vector<std::thread> writers;
        for (int writer = 0; writer < 4; ++writer)
            writers.emplace_back([] {
                for (int entry = 0; entry < 100; ++entry)
                    Log::write("one whole line");
            });
        for (auto& writer : writers)
            writer.join();
    });
    const TestSupport::Pattern line(".*\\[[0-9]+\\] one whole line");
    std::istringstream lines(logged.text);
    int count = 0;
    for (std::string one; std::getline(lines, one); ++count)
        EXPECT_TRUE(line.matches(one)) << one;
    EXPECT_EQ(count, 400);
}

} // namespace
