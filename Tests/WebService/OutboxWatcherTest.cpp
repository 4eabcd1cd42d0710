// How things that other programs do in the outbox become pending items.

#include "Support/FileSizeLimit.h"
#include "Support/TestState.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class AnOutbox : public WithState {
protected:
    Descriptor openForWriting(std::string_view path) {
        return Descriptor(::open(folder.path(path).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    }

    static void append(const Descriptor& file, std::string_view text) {
        ASSERT_EQ(::write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    /// Takes everything and expects exactly the names, in any order that has each folder before what is in it.
    void expectFoldersFirst(std::string_view computer, Names expected) {
        Names taken = acknowledgeAll(computer);
        for (std::size_t i = 0; i < taken.size(); ++i) {
            const std::string parent = taken[i].substr(0, taken[i].rfind('\\'));
            const auto end = taken.begin() + static_cast<std::ptrdiff_t>(i);
            EXPECT_TRUE(parent.empty() || std::find(taken.begin(), end, parent) != end) << taken[i];
        }
        std::ranges::sort(taken);
        std::ranges::sort(expected);
        EXPECT_EQ(taken, expected);
    }

    /// Lets the time pass after which a file that could not be judged is looked at again.
    void settle() {
        const auto now = OutboxWatcher::Clock::now();
        state->watcher.process();
        state->watcher.recheck(now);
        state->watcher.recheck(now + 10s);
    }
};

} // namespace

TEST_F(AnOutbox, OffersAFileThatIsWrittenIntoIt) {
    folder.write("data/outbox/7/a.txt", "hello");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
    EXPECT_EQ(acknowledgeAll("8"), Names());
}

TEST_F(AnOutbox, OffersAFolderBeforeAnythingInIt) {
    folder.write("data/outbox/7/z/y/x/deep.txt", "1");
    folder.write("data/outbox/7/z/a.txt", "2");
    folder.makeFolder("data/outbox/7/empty");
    expectFoldersFirst("7", {"\\z", "\\z\\y", "\\z\\y\\x", "\\z\\y\\x\\deep.txt", "\\z\\a.txt", "\\empty"});
}

TEST_F(AnOutbox, OffersAFolderBeforeItsContentsWhenATreeIsMovedIn) {
    folder.write("elsewhere/tree/sub/a.txt", "1");
    folder.write("elsewhere/tree/0.txt", "2");
    folder.makeFolder("data/outbox/7");
    next("7");
    folder.move("elsewhere/tree", "data/outbox/7/tree");
    expectFoldersFirst("7", {"\\tree", "\\tree\\sub", "\\tree\\sub\\a.txt", "\\tree\\0.txt"});
    folder.write("data/outbox/7/tree/sub/later.txt", "3");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\tree\\sub\\later.txt"}));
}

TEST_F(AnOutbox, DoesNotOfferAFileBeforeItsWriterClosesIt) {
    folder.makeFolder("data/outbox/7");
    EXPECT_EQ(next("7"), "");
    Descriptor file = openForWriting("data/outbox/7/slow.bin");
    EXPECT_EQ(next("7"), "");
    append(file, "first");
    EXPECT_EQ(next("7"), "");
    settle();
    EXPECT_EQ(next("7"), "");
    append(file, "second");
    file.close();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\slow.bin"}));
    EXPECT_EQ(contentOf(folder.path("data/outbox/7/slow.bin")), "firstsecond");
}

TEST_F(AnOutbox, WaitsForTheLastOfTwoWriters) {
    folder.makeFolder("data/outbox/7");
    Descriptor one = openForWriting("data/outbox/7/a");
    Descriptor two = openForWriting("data/outbox/7/a");
    append(one, "x");
    one.close();
    EXPECT_EQ(next("7"), "");
    two.close();
    EXPECT_EQ(next("7"), "\\a");
}

TEST_F(AnOutbox, DoesNotOfferAFileFoundAtTheStartWhileItIsWritten) {
    folder.write("data/outbox/7/done.txt", "x");
    folder.makeFolder("data/outbox/7/sub");
    Descriptor file = openForWriting("data/outbox/7/sub/slow.bin");
    append(file, "part");
    restart();
    expectFoldersFirst("7", {"\\done.txt", "\\sub"});
    append(file, "rest");
    file.close();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\sub\\slow.bin"}));
}

TEST_F(AnOutbox, OffersAFileThatIsRenamedIntoIt) {
    folder.write("elsewhere/a.txt", "x");
    folder.makeFolder("data/outbox/7");
    folder.move("elsewhere/a.txt", "data/outbox/7/b.txt");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b.txt"}));
}

TEST_F(AnOutbox, WaitsForTheWriterOfAFileThatIsRenamedInWhileOpen) {
    folder.makeFolder("elsewhere");
    folder.makeFolder("data/outbox/7");
    Descriptor file = openForWriting("elsewhere/a.txt");
    folder.move("elsewhere/a.txt", "data/outbox/7/a.txt");
    EXPECT_EQ(next("7"), "");
    append(file, "x");
    file.close();
    EXPECT_EQ(next("7"), "\\a.txt");
}

TEST_F(AnOutbox, OffersAnEmptyFile) {
    folder.makeFolder("data/outbox/7");
    EXPECT_EQ(next("7"), "");
    folder.write("data/outbox/7/empty", "");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\empty"}));
}

TEST_F(AnOutbox, OffersAnEmptyFileFoundByAScanOnceNoWriterHasOpenedIt) {
    folder.write("elsewhere/tree/empty", "");
    folder.makeFolder("data/outbox/7");
    folder.move("elsewhere/tree", "data/outbox/7/tree");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\tree"}));
    const auto now = OutboxWatcher::Clock::now();
    state->watcher.recheck(now);
    state->watcher.recheck(now + 900ms);
    EXPECT_EQ(next("7"), "");
    state->watcher.recheck(now + 1s);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\tree\\empty"}));
}

TEST_F(AnOutbox, OffersAHardLink) {
    folder.write("elsewhere/a.txt", "x");
    folder.makeFolder("data/outbox/7");
    std::filesystem::create_hard_link(folder.path("elsewhere/a.txt"), folder.path("data/outbox/7/link.txt"));
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\link.txt"}));
}

TEST_F(AnOutbox, OffersAFileThatAppearsWithoutBeingClosed) {
    folder.makeFolder("data/outbox/7");
    ASSERT_EQ(::mknod(folder.path("data/outbox/7/node").c_str(), S_IFREG | 0644, 0), 0);
    EXPECT_EQ(next("7"), "");
    settle();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\node"}));
}

TEST_F(AnOutbox, IgnoresWhatIsNeitherFileNorFolder) {
    folder.write("elsewhere/secret.txt", "x");
    folder.makeFolder("data/outbox/7");
    std::filesystem::create_symlink(folder.path("elsewhere/secret.txt"), folder.path("data/outbox/7/link"));
    std::filesystem::create_directory_symlink(folder.path("elsewhere"), folder.path("data/outbox/7/folder-link"));
    std::filesystem::create_directory_symlink(folder.path("elsewhere"), folder.path("data/outbox/8"));
    ASSERT_EQ(::mkfifo(folder.path("data/outbox/7/fifo").c_str(), 0644), 0);
    folder.write("data/outbox/stray.txt", "in no computer's folder");
    settle();
    EXPECT_EQ(acknowledgeAll("7"), Names());
    EXPECT_EQ(acknowledgeAll("8"), Names());
    restart();
    settle();
    EXPECT_EQ(acknowledgeAll("7"), Names());
    EXPECT_EQ(acknowledgeAll("8"), Names());
}

TEST_F(AnOutbox, IgnoresWhatCannotBeExpressedOnTheWire) {
    folder.write("data/outbox/7/back\\slash", "x");
    folder.write("data/outbox/7/new\nline", "x");
    folder.write("data/outbox/7/latin\xe4", "x");
    folder.write("data/outbox/7/bad\\folder/a.txt", "x");
    folder.write("data/outbox/7/good", "x");
    settle();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\good"}));
    restart();
    settle();
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(AnOutbox, DoesNotOfferAnAcknowledgedItemAgainAfterARestart) {
    folder.write("data/outbox/7/Docs/a.txt", "x");
    folder.write("data/outbox/7/Docs/b.txt", "x");
    EXPECT_EQ(take("7"), "\\Docs");
    EXPECT_EQ(take("7"), "\\Docs\\a.txt");
    restart();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\Docs\\b.txt"}));
    restart();
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(AnOutbox, OffersAnAcknowledgedFileAgainWhenItIsRewritten) {
    folder.write("data/outbox/7/a.txt", "one");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
    folder.write("data/outbox/7/a.txt", "two");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(AnOutbox, DoesNotOfferAFileAgainBecauseItsTimeOrPermissionsChange) {
    folder.write("data/outbox/7/a.txt", "one");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
    const std::string path = folder.path("data/outbox/7/a.txt").string();
    const std::array<timespec, 2> longAgo = {timespec{.tv_sec = 1000, .tv_nsec = 0},
                                             timespec{.tv_sec = 1000, .tv_nsec = 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), longAgo.data(), 0), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(acknowledgeAll("7"), Names());
    openForWriting("data/outbox/7/a.txt").close();
    EXPECT_EQ(acknowledgeAll("7"), Names());
    restart();
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

TEST_F(AnOutbox, OffersAFileAgainThatIsRewrittenAndGetsItsOldTimeBack) {
    folder.write("data/outbox/7/a.txt", "one");
    const std::string path = folder.path("data/outbox/7/a.txt").string();
    struct stat before {};
    ASSERT_EQ(::stat(path.c_str(), &before), 0);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
    folder.write("data/outbox/7/a.txt", "two");
    const std::array<timespec, 2> times = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
}

TEST_F(AnOutbox, OffersWhatChangedWhileTheServiceWasDown) {
    folder.makeFolder("data/outbox/7");
    state->watcher.process(); // what a scan finds may have come within one tick of the file system's clock
    folder.write("data/outbox/7/kept.txt", "x");
    folder.write("data/outbox/7/changed.txt", "x");
    folder.write("data/outbox/7/removed.txt", "x");
    EXPECT_EQ(take("7"), "\\kept.txt");
    EXPECT_EQ(take("7"), "\\changed.txt");
    state.reset();
    folder.write("data/outbox/7/changed.txt", "longer");
    folder.remove("data/outbox/7/removed.txt");
    folder.write("data/outbox/7/new.txt", "x");
    restart();
    expectFoldersFirst("7", {"\\changed.txt", "\\new.txt"});
}

TEST_F(AnOutbox, DoesNotOfferAPendingFileWhileItIsBeingRewritten) {
    folder.write("data/outbox/7/a.txt", "one");
    EXPECT_EQ(next("7"), "\\a.txt");
    Descriptor file = openForWriting("data/outbox/7/a.txt");
    EXPECT_EQ(next("7"), "");
    append(file, "two");
    file.close();
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
}

TEST_F(AnOutbox, WithdrawsWhatIsRemoved) {
    folder.write("data/outbox/7/Docs/a.txt", "x");
    folder.write("data/outbox/7/b.txt", "x");
    EXPECT_EQ(next("7"), "\\Docs");
    folder.remove("data/outbox/7/Docs");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b.txt"}));
    folder.write("data/outbox/7/Docs/a.txt", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\Docs", "\\Docs\\a.txt"}));
}

TEST_F(AnOutbox, OffersAFolderUnderItsNewNameWhenItIsRenamed) {
    folder.write("data/outbox/7/old/sub/a.txt", "x");
    EXPECT_EQ(next("7"), "\\old");
    folder.move("data/outbox/7/old", "data/outbox/7/new");
    expectFoldersFirst("7", {"\\new", "\\new\\sub", "\\new\\sub\\a.txt"});
    folder.write("data/outbox/7/new/sub/b.txt", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\new\\sub\\b.txt"}));
}

TEST_F(AnOutbox, RemovesAComputersItemsWithItsFolder) {
    folder.write("data/outbox/7/a.txt", "x");
    EXPECT_EQ(next("7"), "\\a.txt");
    folder.remove("data/outbox/7");
    EXPECT_EQ(next("7"), "");
    folder.write("data/outbox/7/a.txt", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a.txt"}));
}

TEST_F(AnOutbox, IsCreatedAgainWhenItIsRemoved) {
    folder.write("data/outbox/7/a.txt", "x");
    EXPECT_EQ(next("7"), "\\a.txt");
    folder.remove("data/outbox");
    EXPECT_EQ(next("7"), "");
    settle();
    folder.write("data/outbox/7/b.txt", "x");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b.txt"}));
}

TEST_F(AnOutbox, LosesNothingWhenTheKernelsQueueOverflows) {
    folder.makeFolder("data/outbox/7");
    EXPECT_EQ(next("7"), "");
    // Two names alternate, so that no event is merged with the one before it.
    folder.write("data/outbox/7/a", "x");
    for (int i = 0; i < 20'000; ++i) {
        folder.move("data/outbox/7/a", "data/outbox/7/b");
        folder.move("data/outbox/7/b", "data/outbox/7/a");
    }
    folder.write("data/outbox/7/last", "x");
    folder.write("data/outbox/7/sub/file", "x");
    state->watcher.process();
    expectFoldersFirst("7", {"\\a", "\\last", "\\sub", "\\sub\\file"});
}

TEST_F(AnOutbox, WaitsASecondForTheWriterOfAnEmptyFileThatAScanHasFound) {
    folder.write("elsewhere/empty", "");
    folder.move("elsewhere", "data/outbox/7");
    const auto now = OutboxWatcher::Clock::now();
    state->watcher.process();
    state->watcher.recheck(now);
    state->watcher.recheck(now + 999ms);
    EXPECT_EQ(field(request("GET", "/status?computer=7").body, "pending"), "0");
    state->watcher.recheck(now + 1s);
    EXPECT_EQ(field(request("GET", "/status?computer=7").body, "pending"), "1");
}

TEST_F(AnOutbox, FindsAgainWhatCouldNotBeCommitted) {
    std::signal(SIGXFSZ, SIG_IGN);
    folder.makeFolder("data/outbox/7/a");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    folder.makeFolder("data/outbox/7/b");
    folder.remove("data/outbox/7/a");
    {
        const FileSizeLimit full(std::filesystem::file_size(folder.path("data/state.db-wal")));
        EXPECT_THROW(state->watcher.process(), DatabaseError);
    }
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\b"}));
    folder.makeFolder("data/outbox/7/a");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"})) << "that it was removed is known";
}

TEST_F(AnOutbox, FindsAgainTheRecordsOfASliceThatIsUndone) {
    Names names;
    for (int i = 10; i < 30; ++i) {
        folder.makeFolder("data/outbox/7/" + std::to_string(i));
        names.push_back("\\" + std::to_string(i));
    }
    {
        const Transaction undone(state->db);
        while (!state->ledger.lastPending("7", std::nullopt))
            ASSERT_FALSE(state->watcher.processSlice(0s));
    }
    ASSERT_FALSE(state->ledger.lastPending("7", std::nullopt));
    expectFoldersFirst("7", names);
}

TEST_F(AnOutbox, IsNotScannedAgainForOtherChangesThatAreUndone) {
    folder.makeFolder("data/outbox/7/a");
    EXPECT_EQ(acknowledgeAll("7"), Names({"\\a"}));
    state->db.run("DELETE FROM outbox"); // a scan would find the folder as a new one
    { const Transaction undone(state->db); }
    EXPECT_EQ(acknowledgeAll("7"), Names());
}

} // namespace webservice::test
