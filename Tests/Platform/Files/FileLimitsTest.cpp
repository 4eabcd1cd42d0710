// Files at the limits of what is read and followed, the folders that are made on the way to them, and the hidden
// copies that stand beside them meanwhile.

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/HiddenCopy.h"
#include "Support/ErrorCode.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace Files = Platform::Files;
using Files::HiddenCopy;
using Platform::FileDescriptor;
using TestSupport::codeOf;
using PathList = std::vector<std::string>;

mode_t permissionsOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class FilesAtTheirLimits : public testing::Test {
protected:
    void SetUp() override { mask_ = ::umask(022); }
    void TearDown() override { ::umask(mask_); }
    /// Links "1" to `count`, each of which leads to the one before, and the first to "file".
    std::string chain(int count) const {
        std::string target = "file";
        for (int number = 1; number <= count; ++number) {
            const auto link = std::to_string(number);
            EXPECT_EQ(::symlink(target.c_str(), folder_.path(link).c_str()), 0);
            target = link;
        }
        return folder_.path(target);
    }
    PathList names() const { return std::get<PathList>(Files::contentsOfDirectory(folder_.path())); }

    TestSupport::TemporaryDirectory folder_;
    mode_t mask_ = 0;
};

TEST_F(FilesAtTheirLimits, AreReplacedBehindFortyLinksAndNoMore) {
    EXPECT_EQ(Files::writeAtomically(chain(40), "x"), std::nullopt);
    EXPECT_EQ(folder_.read("file"), "x");
    ASSERT_EQ(::symlink("40", folder_.path("41").c_str()), 0);
    const auto error = Files::writeAtomically(folder_.path("41"), "y");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ELOOP);
    EXPECT_EQ(error->localizedDescription, folder_.path("41") + ": Too many levels of symbolic links");
    EXPECT_EQ(folder_.read("file"), "x");
}

TEST_F(FilesAtTheirLimits, OfTheKernelAreReadInAnyNumberOfSteps) {
    const std::string path = "/proc/kallsyms";
    std::ostringstream expected;
    expected << std::ifstream(path).rdbuf();
    const std::string content = expected.str();
    if (content.size() < 1 << 20)
        GTEST_SKIP() << "this kernel does not list its symbols";
    EXPECT_TRUE(std::get<std::string>(Files::contents(path)) == content);
    EXPECT_TRUE(std::get<std::string>(Files::contents(path, content.size())) == content);
    EXPECT_EQ(codeOf(Files::contents(path, content.size() - 1)), EFBIG);
}

TEST_F(FilesAtTheirLimits, AreReadWholeAtEverySizeAroundAStep) {
    for (const std::size_t size : {1U, 65535U, 65536U, 65537U, 131072U}) {
        folder_.write("a", std::string(size, 'x'));
        EXPECT_EQ(std::get<std::string>(Files::contents(folder_.path("a"))).size(), size);
        EXPECT_EQ(std::get<std::string>(Files::contents(folder_.path("a"), size)).size(), size);
        EXPECT_EQ(codeOf(Files::contents(folder_.path("a"), size - 1)), EFBIG);
    }
}

TEST_F(FilesAtTheirLimits, AreNotWrittenWhereNobodyReads) {
    ASSERT_EQ(::mkfifo(folder_.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(Files::write(folder_.path("fifo"), "x")), ENXIO);
    EXPECT_EQ(codeOf(Files::copyContents(folder_.write("a", "x"), folder_.path("fifo"))), ENXIO);
}

TEST_F(FilesAtTheirLimits, TellWhichFoldersWereMadeOnTheWayToThem) {
    PathList made{"before"};
    const auto path = folder_.path("a/b/c");
    EXPECT_EQ(Files::createDirectory(path, &made), std::nullopt);
    EXPECT_EQ(made, (PathList{"before", folder_.path("a"), folder_.path("a/b"), path}));
    EXPECT_EQ(Files::createDirectory(path, &made), std::nullopt);
    EXPECT_EQ(made.size(), 4U);
    made.clear();
    EXPECT_EQ(codeOf(Files::createDirectory(folder_.path("d/" + std::string(256, 'x')), &made)), ENAMETOOLONG);
    EXPECT_EQ(made, PathList{folder_.path("d")}) << "what was made stays";
    EXPECT_EQ(codeOf(Files::createDirectory(folder_.path("d/e/" + std::string(256, 'x') + "/f"), &made)), ENAMETOOLONG);
}

TEST_F(FilesAtTheirLimits, AreCopiedWithTheRightsThatTheOriginalGives) {
    ::umask(0);
    const auto from = folder_.write("a", "content");
    for (const auto& [mode, copied] : std::vector<std::pair<mode_t, mode_t>>{
             {0644, 0644}, {0600, 0600}, {0666, 0666}, {0777, 0666}, {0606, 0606}, {0400, 0600}, {0664, 0664}}) {
        ASSERT_EQ(::chmod(from.c_str(), mode), 0);
        ::unlink(folder_.path("b").c_str());
        EXPECT_EQ(Files::copyContents(from, folder_.path("b")), std::nullopt);
        EXPECT_EQ(permissionsOf(folder_.path("b")), copied) << mode;
    }
    if (::geteuid() != 0)
        return;
    // Its group is another one, and gets what everybody gets.
    ASSERT_EQ(::chown(from.c_str(), 0, 65534), 0);
    for (const auto& [mode, copied] :
         std::vector<std::pair<mode_t, mode_t>>{{0664, 0644}, {0660, 0600}, {0602, 0622}, {0604, 0644}}) {
        ASSERT_EQ(::chmod(from.c_str(), mode), 0);
        ::unlink(folder_.path("b").c_str());
        EXPECT_EQ(Files::copyContents(from, folder_.path("b")), std::nullopt);
        EXPECT_EQ(permissionsOf(folder_.path("b")), copied) << mode;
    }
}

TEST_F(FilesAtTheirLimits, KeepTheirModeBehindALinkWithoutTheRightsThatItLends) {
    folder_.write("file", "old");
    ASSERT_EQ(::chmod(folder_.path("file").c_str(), 04751), 0);
    EXPECT_EQ(Files::writeAtomically(chain(1), "new"), std::nullopt);
    EXPECT_EQ(permissionsOf(folder_.path("file")), 0751U);
    EXPECT_EQ(folder_.read("file"), "new");
}

class AHiddenCopy : public FilesAtTheirLimits {};

TEST_F(AHiddenCopy, HasANameOfFixedLengthBesideItsPath) {
    // The 64-bit FNV-1a hash of the last component.
    EXPECT_EQ(HiddenCopy("/x/a").path(), "/x/.copying-af63dc4c8601ec8c");
    EXPECT_EQ(HiddenCopy("/x/foobar").path(), "/x/.copying-85944171f73967e8");
    EXPECT_EQ(HiddenCopy("foobar").path(), ".copying-85944171f73967e8");
    EXPECT_EQ(HiddenCopy("/x/" + std::string(255, 'n')).path().size(), std::string("/x/.copying-").size() + 16);
}

TEST_F(AHiddenCopy, IsPrivateAndGoesUnlessItIsKept) {
    {
        HiddenCopy file(folder_.path("a"));
        EXPECT_EQ(names(), PathList{});
        ASSERT_EQ(file.makeFile(), 0);
        EXPECT_EQ(permissionsOf(file.path()), 0600U);
        EXPECT_EQ(::fcntl(file.item(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(file.item(), F_GETFL) & O_ACCMODE, O_RDWR);
        HiddenCopy folder(folder_.path("b"));
        ASSERT_EQ(folder.makeFolder(), 0);
        EXPECT_EQ(permissionsOf(folder.path()), 0700U);
        EXPECT_EQ(::fcntl(folder.item(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(names().size(), 2U);
        // Folders of a copy that failed may be closed to their owner.
        ASSERT_EQ(::mkdir((folder.path() + "/closed").c_str(), 0700), 0);
        std::ofstream(folder.path() + "/closed/file") << "x";
        ASSERT_EQ(::chmod((folder.path() + "/closed").c_str(), 0), 0);
    }
    EXPECT_EQ(names(), PathList{});
    HiddenCopy kept(folder_.path("a"));
    ASSERT_EQ(kept.makeFile(), 0);
    const auto path = kept.path();
    kept.keep();
    EXPECT_LT(kept.item(), 0);
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(AHiddenCopy, IsItsMakersAsLongAsThatLives) {
    HiddenCopy mine(folder_.path("a"));
    ASSERT_EQ(mine.makeFile(), 0);
    {
        HiddenCopy theirs(folder_.path("a"));
        EXPECT_EQ(theirs.makeFile(), EBUSY);
        EXPECT_EQ(theirs.makeFolder(), EBUSY);
        EXPECT_LT(theirs.item(), 0);
    }
    EXPECT_TRUE(Files::exists(mine.path())) << "what is not its own is not removed";
    const FileDescriptor other(::open(mine.path().c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(AHiddenCopy, TakesThePlaceOfOneThatWasGivenUp) {
    const auto path = HiddenCopy(folder_.path("a")).path();
    std::ofstream(path) << "half";
    {
        HiddenCopy file(folder_.path("a"));
        ASSERT_EQ(file.makeFile(), 0);
        EXPECT_EQ(Files::size(path), 0U);
    }
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    std::ofstream(path + "/x") << "half";
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    {
        HiddenCopy file(folder_.path("a"));
        ASSERT_EQ(file.makeFolder(), 0);
        EXPECT_EQ(std::get<PathList>(Files::contentsOfDirectory(path)), PathList{});
    }
    ASSERT_EQ(::symlink("elsewhere", path.c_str()), 0);
    HiddenCopy refused(folder_.path("a"));
    EXPECT_EQ(refused.makeFile(), ELOOP);
    EXPECT_EQ(names().size(), 1U);
    HiddenCopy nowhere(folder_.path("no/a"));
    EXPECT_EQ(nowhere.makeFile(), ENOENT);
    EXPECT_EQ(nowhere.makeFolder(), ENOENT);
}

} // namespace
