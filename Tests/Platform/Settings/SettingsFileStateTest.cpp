// How a version of a settings file is told from another, when no further version can look the same, and which errors
// leave its content unknown.

#include "Platform/Settings/SettingsFile.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <functional>
#include <vector>

namespace {

namespace SettingsFile = Platform::SettingsFile;
using Platform::Error;
using VersionOfFile = SettingsFile::State;

/// Whether a file that changed that many seconds ago is settled; asked again where a second ends meanwhile.
bool isSettledAfter(time_t seconds) {
    for (;;) {
        timespec before{};
        timespec after{};
        ::clock_gettime(CLOCK_REALTIME, &before);
        VersionOfFile state;
        state.changed = {before.tv_sec - seconds, before.tv_nsec};
        const bool settled = SettingsFile::isSettled(state);
        ::clock_gettime(CLOCK_REALTIME, &after);
        if (before.tv_sec == after.tv_sec)
            return settled;
    }
}

TEST(TheStateOfASettingsFile, IsSettledOnceItsLastChangeIsThreeSecondsAgo) {
    EXPECT_FALSE(isSettledAfter(-1));
    EXPECT_FALSE(isSettledAfter(0));
    EXPECT_FALSE(isSettledAfter(1));
    EXPECT_FALSE(isSettledAfter(2));
    EXPECT_TRUE(isSettledAfter(3));
    EXPECT_TRUE(isSettledAfter(1'000'000));
    EXPECT_TRUE(SettingsFile::isSettled(VersionOfFile()));
}

TEST(TheStateOfASettingsFile, IsOfItsFileSizeAndTimes) {
    const TestSupport::TemporaryDirectory folder;
    const auto path = folder.write("s.json", "12345");
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    const VersionOfFile state = SettingsFile::stateOf(path);
    EXPECT_EQ(state.device, status.st_dev);
    EXPECT_EQ(state.inode, status.st_ino);
    EXPECT_EQ(state.size, 5);
    EXPECT_EQ(state.modified.tv_sec, status.st_mtim.tv_sec);
    EXPECT_EQ(state.modified.tv_nsec, status.st_mtim.tv_nsec);
    EXPECT_EQ(state.changed.tv_sec, status.st_ctim.tv_sec);
    EXPECT_EQ(state.changed.tv_nsec, status.st_ctim.tv_nsec);
    EXPECT_EQ(SettingsFile::stateOf(folder.path("none")), VersionOfFile());
    EXPECT_EQ(SettingsFile::stateOf(path + std::string("\0x", 2)), VersionOfFile());
}

TEST(TheStateOfASettingsFile, IsAnotherOneWhereAnyPartOfItDiffers) {
    const std::vector<std::function<void(VersionOfFile&)>> changes{
        [](VersionOfFile& state) { ++state.device; },
        [](VersionOfFile& state) { ++state.inode; },
        [](VersionOfFile& state) { ++state.size; },
        [](VersionOfFile& state) { ++state.modified.tv_sec; },
        [](VersionOfFile& state) { ++state.modified.tv_nsec; },
        [](VersionOfFile& state) { ++state.changed.tv_sec; },
        [](VersionOfFile& state) { ++state.changed.tv_nsec; },
    };
    const VersionOfFile state{1, 2, 3, {4, 5}, {6, 7}};
    EXPECT_EQ(state, (VersionOfFile{1, 2, 3, {4, 5}, {6, 7}}));
    for (std::size_t index = 0; index < changes.size(); ++index) {
        VersionOfFile other = state;
        changes[index](other);
        EXPECT_FALSE(state == other) << index;
    }
}

TEST(AnErrorOfASettingsFile, LeavesItsContentUnknownWhereItCouldNotBeRead) {
    for (const int number : {EACCES, EIO, EMFILE, ENFILE, ENOMEM, ELOOP, EINTR})
        EXPECT_TRUE(SettingsFile::isFailureToRead({"POSIX", number, ""})) << number;
    for (const int number : {ENOTDIR, EISDIR, EINVAL, EFBIG})
        EXPECT_FALSE(SettingsFile::isFailureToRead({"POSIX", number, ""})) << number;
    EXPECT_FALSE(SettingsFile::isFailureToRead({"JSON", EACCES, ""}));
}

TEST(AnErrorOfASettingsFile, IsLoggedAsAnErrorOnceForEachTextUntilTheFileIsGood) {
    const TestSupport::LogCapture log;
    const TestSupport::TemporaryDirectory folder;
    const auto path = folder.write("s.json", "[]");
    for (int time = 0; time < 2; ++time) {
        SettingsFile::logOnce(path, "one");
        SettingsFile::logOnce(path, "one");
        SettingsFile::logOnce(path, "two");
        SettingsFile::forget(path);
    }
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"one", "two", "one", "two"}));
    EXPECT_EQ(log.priorityOf("one"), Platform::Log::Priority::Error);
}

TEST(AnErrorOfASettingsFile, NamesFileAndPlace) {
    const TestSupport::TemporaryDirectory folder;
    const auto array = SettingsFile::read(folder.write("a.json", " [1]"));
    ASSERT_TRUE(std::holds_alternative<Error>(array));
    EXPECT_EQ(
        std::get<Error>(array),
        (Error{"JSON", 3840, folder.path("a.json") + ": Not a JSON object: the top level is an array at byte 1"}));
    const auto folders = SettingsFile::read(folder.path());
    EXPECT_EQ(std::get<Error>(folders), (Error{"POSIX", EISDIR, folder.path() + ": Is a directory"}));
    EXPECT_TRUE(std::holds_alternative<std::optional<boost::json::object>>(SettingsFile::read(folder.path("none"))));
}

} // namespace
