// A watched folder: each item that arrives, changes or leaves, at any depth, is reported once and in order.

#include "Platform/Files/FileWatcher.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>
#include <vector>

using Platform::FileEvent;
using Platform::FileWatcher;

namespace fs = std::filesystem;

namespace {

class AFileWatcher : public testing::Test {
protected:
    AFileWatcher() { fs::create_directories(root); }

    FileWatcher watch() {
        return FileWatcher(root, [this](const FileEvent& event) {
            events.push_back(event);
            if (reaction && event.path == root + "/" + awaited)
                std::exchange(reaction, {})();
        });
    }
    /// Waits until the item has arrived, and gives the items that had until then, folders with "/" behind.
    std::vector<std::string> arrivedUpTo(const std::string& name) {
        EXPECT_TRUE(loop.runUntil([&] { return has(FileEvent::Kind::Arrived, name); })) << name;
        return arrived();
    }
    bool has(FileEvent::Kind kind, const std::string& name) const {
        return std::ranges::any_of(
            events, [&](const auto& event) { return event.kind == kind && event.path == root + "/" + name; });
    }
    std::vector<std::string> arrived() const {
        std::vector<std::string> names;
        for (const auto& event : events)
            if (event.kind == FileEvent::Kind::Arrived)
                names.push_back(event.path.substr(root.size() + 1) + (event.isDirectory ? "/" : ""));
        return names;
    }
    void moveIn(const std::string& name) const {
        const auto path = folder.write("elsewhere", "x");
        fs::rename(path, root + "/" + name);
    }

    TestSupport::TemporaryDirectory folder;
    Platform::RunLoop loop;
    const std::string root = folder.path("root");
    std::vector<FileEvent> events;
    /// What is done when the watcher first reports the item `awaited`.
    std::string awaited;
    std::function<void()> reaction;
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(AFileWatcher, ReportsFilesThatAreMovedIn) {
    folder.write("root/old/before", "");
    const auto watcher = watch();
    moveIn("a");
    moveIn(".hidden");
    moveIn("old/b");
    EXPECT_EQ(arrivedUpTo("old/b"), (Names{"a", ".hidden", "old/b"}));
}

TEST_F(AFileWatcher, ReportsAFileThatIsWrittenInPlaceOnceItIsClosed) {
    const auto watcher = watch();
    std::ofstream file(root + "/a");
    file << "1" << std::flush;
    ASSERT_TRUE(loop.runUntil([&] { return has(FileEvent::Kind::Changed, "a"); }));
    EXPECT_EQ(arrived(), Names{});
    file.close();
    EXPECT_EQ(arrivedUpTo("a"), Names{"a"});
}

TEST_F(AFileWatcher, DoesNotTakeAChangeOfAnOldFileForAnArrival) {
    folder.write("root/old", "");
    const auto watcher = watch();
    folder.write("root/old", "new");
    moveIn("z");
    EXPECT_EQ(arrivedUpTo("z"), Names{"z"});
    EXPECT_TRUE(has(FileEvent::Kind::Changed, "old"));
}

TEST_F(AFileWatcher, LeavesOutHiddenFilesThatAreWrittenInPlace) {
    const auto watcher = watch();
    folder.write("root/.a.part", "1");
    fs::rename(root + "/.a.part", root + "/a");
    EXPECT_EQ(arrivedUpTo("a"), Names{"a"});
    EXPECT_TRUE(has(FileEvent::Kind::Left, ".a.part"));
}

TEST_F(AFileWatcher, ReportsOnceEverythingInAFolderThatArrives) {
    const auto watcher = watch();
    folder.write("tree/x/deep/1", "");
    folder.write("tree/x/2", "");
    fs::rename(folder.path("tree"), root + "/tree");
    moveIn("tree/x/deep/3");
    moveIn("end");
    EXPECT_EQ(arrivedUpTo("end"),
              (Names{"tree/", "tree/x/", "tree/x/2", "tree/x/deep/", "tree/x/deep/1", "tree/x/deep/3", "end"}));
}

TEST_F(AFileWatcher, ReportsOnceWhatIsMadeInFoldersFasterThanTheyAreWatched) {
    const auto watcher = watch();
    Names expected;
    for (int number = 0; number < 50; ++number) {
        const std::string name = "d" + std::to_string(number);
        fs::create_directories(root + "/" + name + "/e");
        moveIn(name + "/e/f");
        for (const char* part : {"/", "/e/", "/e/f"})
            expected.push_back(name + part);
    }
    moveIn("end");
    expected.emplace_back("end");
    auto names = arrivedUpTo("end");
    std::ranges::sort(names);
    std::ranges::sort(expected);
    EXPECT_EQ(names, expected);
}

TEST_F(AFileWatcher, ReportsInTheirOrderItemsThatAreMadeInAFolderSinceItWasReported) {
    fs::create_directory(root + "/old");
    awaited = "new";
    reaction = [this] {
        moveIn("new/b");
        moveIn("old/a");
        moveIn("new/a");
    };
    const auto watcher = watch();
    fs::create_directory(root + "/new");
    EXPECT_EQ(arrivedUpTo("new/a"), (Names{"new/", "new/b", "old/a", "new/a"}));
}

TEST_F(AFileWatcher, ReportsAgainAFileOfANewFolderThatIsReplacedOnceItWasReported) {
    folder.write("tree/a", "");
    awaited = "tree/a";
    reaction = [this] {
        moveIn("tree/a");
        moveIn("end");
    };
    const auto watcher = watch();
    fs::rename(folder.path("tree"), root + "/tree");
    EXPECT_EQ(arrivedUpTo("end"), (Names{"tree/", "tree/a", "tree/a", "end"}));
}

TEST_F(AFileWatcher, ReportsAgainAnItemThatComesBack) {
    const auto watcher = watch();
    fs::create_directory(root + "/d");
    moveIn("d/a");
    arrivedUpTo("d/a");
    fs::remove_all(root + "/d");
    ASSERT_TRUE(loop.runUntil([&] { return has(FileEvent::Kind::Left, "d"); }));
    fs::create_directory(root + "/d");
    moveIn("d/a");
    moveIn("end");
    EXPECT_EQ(arrivedUpTo("end"), (Names{"d/", "d/a", "d/", "d/a", "end"}));
}

TEST_F(AFileWatcher, FollowsNoFolderThatHasLeft) {
    const auto watcher = watch();
    fs::create_directory(root + "/d");
    arrivedUpTo("d");
    fs::rename(root + "/d", folder.path("gone"));
    ASSERT_TRUE(loop.runUntil([&] { return has(FileEvent::Kind::Left, "d"); }));
    folder.write("gone/a", "");
    moveIn("end");
    EXPECT_EQ(arrivedUpTo("end"), (Names{"d/", "end"}));
}

TEST_F(AFileWatcher, FollowsNoSymbolicLink) {
    folder.write("outside/a", "");
    fs::create_directory_symlink(folder.path("outside"), root + "/old");
    const auto watcher = watch();
    folder.write("outside/b", "");
    moveIn("end");
    EXPECT_EQ(arrivedUpTo("end"), Names{"end"});
}

TEST_F(AFileWatcher, WaitsForItsFolder) {
    fs::remove(root);
    folder.write("made/a", "");
    const auto watcher = watch();
    fs::rename(folder.path("made"), root);
    arrivedUpTo("a");
    moveIn("b");
    EXPECT_EQ(arrivedUpTo("b"), (Names{"a", "b"}));
}

TEST_F(AFileWatcher, WaitsForItsFolderBelowOthersThatAreMissing) {
    fs::remove(root);
    const FileWatcher watcher(root + "/x/y/", [this](const FileEvent& event) { events.push_back(event); });
    fs::create_directory(root);
    fs::create_directories(root + "/x/y/z");
    EXPECT_EQ(arrivedUpTo("x/y/z"), Names{"x/y/z/"});
}

TEST_F(AFileWatcher, WaitsForItsFolderToComeBack) {
    const auto watcher = watch();
    fs::rename(root, folder.path("away"));
    folder.write("away/a", "");
    fs::create_directory(root);
    moveIn("b");
    EXPECT_EQ(arrivedUpTo("b"), Names{"b"});
    fs::remove_all(root);
    fs::create_directory(root);
    moveIn("c");
    EXPECT_EQ(arrivedUpTo("c"), (Names{"b", "c"}));
}
