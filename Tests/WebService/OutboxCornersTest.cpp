// The outbox where the kernel does not tell everything, and where much is at work in it.

#include "Support/RefusedCalls.h"
#include "Support/TestState.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/// Tests whose work is done in a process of its own, with a log of its own.
class AnOutboxInAProcessOfItsOwn : public ::testing::Test {
protected:
    AnOutboxInAProcessOfItsOwn() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    TemporaryFolder folder;
};

/// Ends the process of a test with 0 where it has seen what it should, and leaves no folder.
[[noreturn]] void endTest(const TemporaryFolder& folder, const std::string& seen, const std::string& expected) {
    if (seen != expected)
        std::fprintf(stderr, "unexpected: %s\n", seen.c_str());
    folder.remove("");
    std::_Exit(seen == expected ? 0 : 1);
}

/// Gives up every capability, among them those to read what permissions deny and to take leases on others' files
/// (capabilities(7)).
void dropCapabilities() {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    std::array<__user_cap_data_struct, 2> none{};
    if (::syscall(SYS_capset, &header, none.data()) != 0)
        std::_Exit(3);
}

[[noreturn]] void waitForAFileOfAnotherUser(const TemporaryFolder& folder) {
    folder.write("data/outbox/7/a", "x");
    folder.write("data/outbox/7/unreadable", "x");
    ::chmod(folder.path("data/outbox/7/unreadable").c_str(), 0);
    const Descriptor writer(::open(folder.path("data/outbox/7/a").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    // Root alone can give a file away; on others' files there are no leases (fcntl(2), F_SETLEASE).
    if (::chown(folder.path("data/outbox/7/a").c_str(), ::geteuid() + 1, ::getegid()) != 0)
        refuseCall(SYS_fcntl, EACCES, F_SETLEASE);
    dropCapabilities();
    std::signal(SIGIO, SIG_IGN);
    State state(folder.path("data").string());
    const auto now = OutboxWatcher::Clock::now();
    std::string seen;
    const auto recheck = [&](std::chrono::milliseconds time) {
        state.watcher.recheck(now + time);
        seen += std::to_string(state.ledger.count("pending", "7"));
    };
    recheck(0s);
    recheck(2999ms);
    static_cast<void>(!::write(writer.get(), "y", 1)); // begins the time anew
    recheck(3000ms);
    recheck(5999ms);
    recheck(6000ms);
    endTest(folder, seen, "00001");
}

[[noreturn]] void watchOneFolderTooManyLater(const TemporaryFolder& folder) {
    if (::unshare(CLONE_NEWUSER) != 0)
        std::_Exit(4);
    std::ofstream("/proc/sys/user/max_inotify_watches") << 2;
    std::signal(SIGIO, SIG_IGN);
    folder.makeFolder("data/outbox/7");
    State state(folder.path("data").string());
    folder.makeFolder("data/outbox/7/later");
    state.watcher.process();
    std::string seen = std::to_string(state.ledger.count("pending", "7"));
    folder.write("data/outbox/7/later/a", "x");
    state.watcher.process();
    seen += std::to_string(state.ledger.count("pending", "7"));
    state.watcher.recheck(OutboxWatcher::Clock::now() + 6s);
    seen += std::to_string(state.ledger.count("pending", "7"));
    endTest(folder, seen, "112");
}

[[noreturn]] void watchTooManyFolders(const TemporaryFolder& folder) {
    if (::unshare(CLONE_NEWUSER) != 0)
        std::_Exit(4);
    std::ofstream("/proc/sys/user/max_inotify_watches") << 3;
    std::signal(SIGIO, SIG_IGN);
    for (const char* path : {"1", "2", "3"})
        folder.makeFolder("data/outbox/7/" + std::string(path));
    State state(folder.path("data").string());
    std::string seen = std::to_string(state.ledger.count("pending", "7"));
    for (const char* path : {"1", "2", "3"})
        folder.write("data/outbox/7/" + std::string(path) + "/a", "x");
    const auto now = OutboxWatcher::Clock::now();
    state.watcher.process();
    seen += std::to_string(state.ledger.count("pending", "7")); // of the folder that is watched
    state.watcher.recheck(now + 4s);
    seen += std::to_string(state.ledger.count("pending", "7"));
    state.watcher.recheck(now + 6s);
    seen += std::to_string(state.ledger.count("pending", "7"));
    endTest(folder, seen, "3446");
}

} // namespace

TEST_F(AnOutboxInAProcessOfItsOwn, OffersAFileWhoseWritersAreUnknownAfterThreeSecondsWithoutAChange) {
    EXPECT_EXIT(waitForAFileOfAnotherUser(folder), testing::ExitedWithCode(0),
                "ignored in the outbox: 7/unreadable: it cannot be read: Permission denied\n");
}

TEST_F(AnOutboxInAProcessOfItsOwn, IsScannedEveryFiveSecondsWhereTheKernelAllowsNoMoreWatches) {
    EXPECT_EXIT(watchTooManyFolders(folder), testing::ExitedWithCode(0),
                "ignored in the outbox: 7/[123]: it cannot be watched: No space left on device\n");
}

TEST_F(AnOutboxInAProcessOfItsOwn, IsScannedEveryFiveSecondsWhereAFolderThatComesLaterCannotBeWatched) {
    EXPECT_EXIT(watchOneFolderTooManyLater(folder), testing::ExitedWithCode(0),
                "ignored in the outbox: 7/later: it cannot be watched: No space left on device\n");
}

namespace {

class AnOutboxAtItsCorners : public WithState {
protected:
    Descriptor openForWriting(std::string_view path) {
        return Descriptor(::open(folder.path(path).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    }
    std::string counts(std::string_view computer = "7") {
        return request("GET", "/status?computer=" + std::string(computer)).body;
    }
};

} // namespace

TEST_F(AnOutboxAtItsCorners, IsSearchedBehindNoMoreThan500FilesThatAreBeingWritten) {
    constexpr int busy = 500;
    for (int i = 0; i < busy; ++i)
        folder.write("data/outbox/7/" + std::to_string(i), "x");
    folder.write("data/outbox/7/ready", "x");
    EXPECT_EQ(next("7"), "\\0");
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::max<rlim_t>(files.rlim_cur, std::min<rlim_t>(files.rlim_max, 4096));
    ::setrlimit(RLIMIT_NOFILE, &files);
    std::vector<Descriptor> writers;
    for (int i = 0; i < busy; ++i)
        writers.push_back(openForWriting("data/outbox/7/" + std::to_string(i)));
    EXPECT_EQ(next("7"), "");
    folder.remove("data/outbox/7/250");
    EXPECT_EQ(next("7"), "\\ready");
}

TEST_F(AnOutboxAtItsCorners, WithdrawsAnItemThatBecomesAnotherKindOfItemWithoutAnEvent) {
    folder.write("data/outbox/7/a", "x");
    folder.makeFolder("data/outbox/7/b");
    EXPECT_EQ(next("7"), "\\a");
    const auto computer = [](const std::string& name, bool isFile) {
        return Upload{.computer = "7", .name = name, .isFile = isFile};
    };
    EXPECT_TRUE(state->queue.openFile(computer("\\a", true)));
    EXPECT_FALSE(state->queue.openFile(computer("\\b", true)));
    // The ledger has a folder for the file and a file for the folder.
    state->db.run("UPDATE uploads SET is_file = NOT is_file");
    std::int64_t position = -1;
    EXPECT_TRUE(state->ledger.nextPending("7", position));
    EXPECT_FALSE(state->queue.offerNext("7"));
    EXPECT_EQ(counts(), R"({"pending":0,"acknowledged":0,"withdrawn":2})");
}

TEST_F(AnOutboxAtItsCorners, FollowsAFolderThatIsMovedWithinIt) {
    folder.write("data/outbox/7/old/sub/a", "x");
    folder.write("data/outbox/7/old.txt", "x");
    folder.makeFolder("data/outbox/7/other");
    acknowledgeAll("7");
    folder.move("data/outbox/7/old", "data/outbox/7/other/new");
    EXPECT_EQ(acknowledgeAll("7").size(), 3U);
    folder.write("data/outbox/7/other/new/sub/b", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\other\\new\\sub\\b"}));
    folder.move("data/outbox/7/other/new", "elsewhere");
    folder.write("elsewhere/sub/c", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names());
    folder.write("data/outbox/7/other/c", "x");
    folder.write("data/outbox/7/old.txt", "xy");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\other\\c", "\\old.txt"}));
}

TEST_F(AnOutboxAtItsCorners, FollowsAFolderThatTakesThePlaceOfAnother) {
    folder.makeFolder("data/outbox/7/a");
    acknowledgeAll("7");
    for (int i = 0; i < 3; ++i) {
        folder.remove("data/outbox/7/a");
        folder.makeFolder("data/outbox/7/a");
        folder.write("data/outbox/7/a/" + std::to_string(i), "x");
        EXPECT_EQ(acknowledgeAll("7"), Names({"\\a", "\\a\\" + std::to_string(i)}));
    }
    folder.remove("data/outbox/7/a");
    EXPECT_EQ(acknowledgeAll("7"), Names());
    folder.makeFolder("data/outbox/7/a");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    folder.write("data/outbox/7/a/x", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a\\x"}));
}

TEST_F(AnOutboxAtItsCorners, OffersALinkedFileAtOnceAndOneThatIsBeingWrittenWhenItIsClosed) {
    folder.write("elsewhere/a", "x");
    folder.makeFolder("data/outbox/7");
    next("7");
    Descriptor writer(::open(folder.path("elsewhere/a").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    std::filesystem::create_hard_link(folder.path("elsewhere/a"), folder.path("data/outbox/7/a"));
    EXPECT_EQ(next("7"), "");
    writer.close(); // of a path outside: no event follows
    std::filesystem::create_hard_link(folder.path("elsewhere/a"), folder.path("data/outbox/7/b"));
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b"}));
}

TEST_F(AnOutboxAtItsCorners, ForgetsThatAFileWaitsForASecondLookWhenItIsRemoved) {
    folder.makeFolder("data/outbox/7");
    next("7");
    const auto make = [this] { ASSERT_EQ(::mknod(folder.path("data/outbox/7/node").c_str(), S_IFREG | 0644, 0), 0); };
    const auto now = OutboxWatcher::Clock::now();
    make();
    state->watcher.recheck(now);
    folder.remove("data/outbox/7/node");
    state->watcher.process();
    make();
    state->watcher.recheck(now + 1s);
    EXPECT_EQ(counts(), R"({"pending":0,"acknowledged":0,"withdrawn":0})");
    {
        const Descriptor writer = openForWriting("data/outbox/7/node");
        state->watcher.recheck(now + 3s);
        EXPECT_EQ(counts(), R"({"pending":0,"acknowledged":0,"withdrawn":0})");
    }
    EXPECT_EQ(next("7"), "\\node");
}

TEST_F(AnOutboxAtItsCorners, LogsAgainWhatIsIgnoredOnceItWasRemoved) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [this] {
        for (int i = 0; i < 2; ++i) {
            folder.write("data/outbox/stray", "x");
            state->watcher.process();
            folder.remove("data/outbox/stray");
            folder.makeFolder("data/outbox/7/bad\\folder");
            state->watcher.process();
            folder.remove("data/outbox/7/bad\\folder");
            state->watcher.process();
        }
        endTest(folder, "", "");
    };
    EXPECT_EXIT(
        twice(), testing::ExitedWithCode(0),
        "(.*stray: it is in no computer's folder\n.*bad\\\\folder: its name cannot be expressed on the wire\n){2}");
}

TEST_F(AnOutboxAtItsCorners, LogsAFolderThatItIgnoresWithoutWhatIsInIt) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto moved = [this] {
        folder.write("bad\\folder/a.txt", "x");
        folder.makeFolder("data/outbox/7");
        state->watcher.process();
        std::filesystem::rename(folder.path("bad\\folder"), folder.path("data/outbox/7/bad\\folder"));
        state->watcher.process();
        std::fprintf(stderr, "the end\n");
        endTest(folder, "", "");
    };
    EXPECT_EXIT(moved(), testing::ExitedWithCode(0),
                "bad\\\\folder: its name cannot be expressed on the wire\nthe end\n");
}

TEST_F(AnOutboxAtItsCorners, OffersWhatWasWrittenWhenTheServiceEndsBeforeItsWriter) {
    folder.write("data/outbox/7/a", "one");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    Descriptor writer(::open(folder.path("data/outbox/7/a").c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::write(writer.get(), "two", 3), 3);
    const std::array<timespec, 2> times = {timespec{.tv_sec = 1000, .tv_nsec = 0},
                                           timespec{.tv_sec = 1000, .tv_nsec = 0}};
    ASSERT_EQ(::futimens(writer.get(), times.data()), 0);
    state->watcher.process();
    state.reset();
    writer.close();
    restart();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
}

TEST_F(AnOutboxAtItsCorners, IsScannedAfterAnErrorOfTheDatabase) {
    folder.makeFolder("data/outbox/7");
    state->watcher.process();
    folder.write("data/outbox/7/a", "x");
    state->db.script("ALTER TABLE outbox RENAME TO away");
    EXPECT_THROW(state->watcher.process(), DatabaseError);
    state->db.script("ALTER TABLE away RENAME TO outbox");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    folder.write("data/outbox/7/b", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b"}));
}

TEST_F(AnOutboxAtItsCorners, CountsAnUploadOfAnotherComputerApart) {
    folder.write("data/outbox/7/a", "x");
    folder.write("data/outbox/8/a", "x");
    EXPECT_EQ(take("7"), "\\a");
    EXPECT_EQ(counts("7"), R"({"pending":0,"acknowledged":1,"withdrawn":0})");
    EXPECT_EQ(counts("8"), R"({"pending":1,"acknowledged":0,"withdrawn":0})");
    folder.remove("data/outbox/8");
    EXPECT_EQ(counts("8"), R"({"pending":0,"acknowledged":0,"withdrawn":1})");
}

TEST_F(AnOutboxAtItsCorners, HasAFolderThatSomethingElseReplaces) {
    folder.write("data/outbox/7/a/b", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a", "\\a\\b"}));
    folder.remove("data/outbox/7/a");
    folder.write("data/outbox/7/a", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    EXPECT_EQ(counts(), R"({"pending":0,"acknowledged":3,"withdrawn":0})");
}

} // namespace webservice::test
