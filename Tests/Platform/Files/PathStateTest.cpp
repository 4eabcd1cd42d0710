// What stands at a path, and whether there is room and leave to write.

#include "Platform/Files/PathState.h"

#include "Support/AnotherAccount.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace Platform {

namespace {

using Kind = PathState::Kind;

class APathState : public testing::Test {
protected:
    static PathState at(const std::string& path) { return std::get<0>(PathState::at(path)).value(); }

    TestSupport::TemporaryDirectory folder;
};

} // namespace

TEST_F(APathState, TellsKindOwnerPermissionsSizeAndTime) {
    const auto file = folder.write("a", "12345");
    ::chmod(file.c_str(), 0640);
    const struct timespec times[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    const auto state = at(file);
    EXPECT_EQ(state.kind, Kind::File);
    EXPECT_TRUE(state.isOwn);
    EXPECT_EQ(state.permissions, 0640U);
    EXPECT_EQ(state.size, 5U);
    EXPECT_EQ(state.modified, 1000);
    EXPECT_EQ(state.device, at(folder.path()).device);
    EXPECT_NE(state.device, at("/proc/self").device);
    EXPECT_EQ(at(folder.path()).kind, Kind::Folder);
    EXPECT_EQ(at("/dev/null").kind, Kind::Other);
    const TestSupport::OfAnotherAccount given(file);
    EXPECT_FALSE(at(file).isOwn);
}

TEST_F(APathState, IsThatOfALinkOrOfWhatItLeadsTo) {
    ASSERT_EQ(::symlink(folder.path().c_str(), folder.path("link").c_str()), 0);
    EXPECT_EQ(at(folder.path("link")).kind, Kind::Link);
    EXPECT_EQ(std::get<0>(PathState::behindLinks(folder.path("link")))->kind, Kind::Folder);
}

TEST_F(APathState, IsNoneWhereNothingIs) {
    EXPECT_EQ(std::get<0>(PathState::at(folder.path("none"))), std::nullopt);
    EXPECT_EQ(std::get<0>(PathState::at(folder.write("file", "") + "/below")), std::nullopt);
    EXPECT_EQ(std::get<0>(PathState::at(folder.path() + std::string("\0/", 2))), std::nullopt);
}

TEST_F(APathState, IsAnErrorWhereItCannotBeSeen) {
    std::variant<std::optional<PathState>, Error> found;
    TestSupport::runWithFailingCalls({SYS_newfstatat}, EACCES, [&] { found = PathState::at("/x"); });
    ASSERT_TRUE(std::holds_alternative<Error>(found));
    EXPECT_EQ(std::get<Error>(found), (Error{"POSIX", EACCES, "/x: Permission denied"}));
}

TEST_F(APathState, GoesWithTheReasonNotToWriteThere) {
    EXPECT_EQ(reasonNotToWriteIn(folder.path()), std::nullopt);
    EXPECT_EQ(reasonNotToWriteIn(folder.path("none")),
              (Error{"POSIX", ENOENT, folder.path("none") + ": No such file or directory"}));
}

TEST_F(APathState, GoesWithTheFreeSpaceOfItsFileSystem) {
    const auto space = freeSpace(folder.path());
    ASSERT_TRUE(std::holds_alternative<std::uint64_t>(space));
    EXPECT_GT(std::get<std::uint64_t>(space), 0U);
    EXPECT_EQ(std::get<std::uint64_t>(freeSpace("/proc")), 0U);
    EXPECT_EQ(std::get<Error>(freeSpace(folder.path("none"))).code, ENOENT);
}

TEST_F(APathState, HasAPathWithoutLinks) {
    ASSERT_EQ(::mkdir(folder.path("a").c_str(), 0700), 0);
    ASSERT_EQ(::symlink(folder.path("a").c_str(), folder.path("link").c_str()), 0);
    EXPECT_EQ(std::get<0>(pathWithoutLinks(folder.path("link/../link/."))), folder.path("a"));
    EXPECT_EQ(std::get<0>(pathWithoutLinks("/")), "/");
    const auto missing = pathWithoutLinks(folder.path("none"));
    EXPECT_EQ(std::get<Error>(missing).localizedDescription, folder.path("none") + ": No such file or directory");
    EXPECT_EQ(std::get<Error>(pathWithoutLinks(folder.path("a") + std::string("\0b", 2))).code, ENOENT);
}

TEST_F(APathState, KnowsWhereItsFileSystemIsMounted) {
    EXPECT_EQ(mountPointOf("/proc/sys/kernel"), "/proc");
    EXPECT_EQ(mountPointOf("/proc"), "/proc");
    EXPECT_EQ(mountPointOf("/proc/no such folder/at all"), "/proc");
    EXPECT_EQ(mountPointOf("/"), "/");
    EXPECT_EQ(mountPointOf(folder.path("none")), mountPointOf(folder.path()));
}

} // namespace Platform
