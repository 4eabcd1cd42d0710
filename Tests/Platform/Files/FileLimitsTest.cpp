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
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
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
    void SetUp() override { mask = ::umask(022); }
    void TearDown() override { ::umask(mask); }
    /// Links "1" to `count`, each of which leads to the one before, and the first to "file".
    std::string chain(int count) const {
        std::string target = "file";
        for (int number = 1; number <= count; ++number) {
            const auto link = std::to_string(number);
            EXPECT_EQ(::symlink(target.c_str(), directory.path(link).c_str()), 0);
            target = link;
        }
        return directory.path(target);
    }
    PathList names() const { return std::get<PathList>(Files::contentsOfDirectory(directory.path())); }

    TestSupport::TemporaryDirectory directory;
    mode_t mask = 0;
};

TEST_F(FilesAtTheirLimits, AreReplacedBehindFortyLinksAndNoMore) {
    EXPECT_EQ(Files::writeAtomically(chain(40), "x"), std::nullopt);
    EXPECT_EQ(directory.read("file"), "x");
    ASSERT_EQ(::symlink("40", directory.path("41").c_str()), 0);
    const auto error = Files::writeAtomically(directory.path("41"), "y");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ELOOP);
    EXPECT_EQ(error->localizedDescription, directory.path("41") + ": Too many levels of symbolic links");
    EXPECT_EQ(directory.read("file"), "x");
}

/// A process that does nothing, and whose list of mappings (proc_pid_maps(5)) takes more than a mebibyte.
class ProcessOfManyMappings {
public:
    ProcessOfManyMappings() {
        std::array<int, 2> ready{};
        EXPECT_EQ(::pipe(ready.data()), 0);
        child_ = ::fork();
        if (child_ == 0) {
            map();
            static_cast<void>(!::write(ready[1], "x", 1));
            for (;;)
                ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1);
        ::close(ready[0]);
    }
    ~ProcessOfManyMappings() {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
    ProcessOfManyMappings(const ProcessOfManyMappings&) = delete;
    ProcessOfManyMappings& operator=(const ProcessOfManyMappings&) = delete;

    std::string mappings() const { return "/proc/" + std::to_string(child_) + "/maps"; }

private:
    /// Every second page has other rights than its neighbours; a line takes 40 bytes or more.
    static void map() {
        constexpr std::size_t count = 30'000;
        constexpr std::size_t page = 4096;
        auto* const memory = static_cast<std::byte*>(
            ::mmap(nullptr, count * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        for (std::size_t index = 0; memory != MAP_FAILED && index < count; index += 2)
            ::mprotect(memory + index * page, page, PROT_READ);
    }

    pid_t child_ = -1;
};

TEST_F(FilesAtTheirLimits, OfTheKernelAreReadInAnyNumberOfSteps) {
    const ProcessOfManyMappings process;
    const auto path = process.mappings();
    std::ostringstream expected;
    expected << std::ifstream(path).rdbuf();
    const std::string content = expected.str();
    ASSERT_GT(content.size(), 1U << 20);
    EXPECT_TRUE(std::get<std::string>(Files::contents(path)) == content);
    EXPECT_TRUE(std::get<std::string>(Files::contents(path, content.size())) == content);
    EXPECT_EQ(codeOf(Files::contents(path, content.size() - 1)), EFBIG);
}

TEST_F(FilesAtTheirLimits, AreReadWholeAtEverySizeAroundAStep) {
    for (const std::size_t size : {1U, 65535U, 65536U, 65537U, 131072U}) {
        directory.write("a", std::string(size, 'x'));
        EXPECT_EQ(std::get<std::string>(Files::contents(directory.path("a"))).size(), size);
        EXPECT_EQ(std::get<std::string>(Files::contents(directory.path("a"), size)).size(), size);
        EXPECT_EQ(codeOf(Files::contents(directory.path("a"), size - 1)), EFBIG);
    }
}

TEST_F(FilesAtTheirLimits, AreNotWrittenWhereNobodyReads) {
    ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(Files::write(directory.path("fifo"), "x")), ENXIO);
    EXPECT_EQ(codeOf(Files::copyContents(directory.write("a", "x"), directory.path("fifo"))), ENXIO);
}

TEST_F(FilesAtTheirLimits, TellWhichFoldersWereMadeOnTheWayToThem) {
    PathList made{"before"};
    const auto path = directory.path("a/b/c");
    EXPECT_EQ(Files::createDirectory(path, &made), std::nullopt);
    EXPECT_EQ(made, (PathList{"before", directory.path("a"), directory.path("a/b"), path}));
    EXPECT_EQ(Files::createDirectory(path, &made), std::nullopt);
    EXPECT_EQ(made.size(), 4U);
    made.clear();
    EXPECT_EQ(codeOf(Files::createDirectory(directory.path("d/" + std::string(256, 'x')), &made)), ENAMETOOLONG);
    EXPECT_EQ(made, PathList{directory.path("d")}) << "what was made stays";
    EXPECT_EQ(codeOf(Files::createDirectory(directory.path("d/e/" + std::string(256, 'x') + "/f"), &made)),
              ENAMETOOLONG);
}

TEST_F(FilesAtTheirLimits, AreCopiedWithTheRightsThatTheOriginalGives) {
    ::umask(0);
    const auto from = directory.write("a", "content");
    for (const auto& [mode, copied] : std::vector<std::pair<mode_t, mode_t>>{
             {0644, 0644}, {0600, 0600}, {0666, 0666}, {0777, 0666}, {0606, 0606}, {0400, 0600}, {0664, 0664}}) {
        ASSERT_EQ(::chmod(from.c_str(), mode), 0);
        ::unlink(directory.path("b").c_str());
        EXPECT_EQ(Files::copyContents(from, directory.path("b")), std::nullopt);
        EXPECT_EQ(permissionsOf(directory.path("b")), copied) << mode;
    }
    if (::geteuid() != 0)
        return;
    // Its group is another one, and gets what everybody gets.
    ASSERT_EQ(::chown(from.c_str(), 0, 65534), 0);
    for (const auto& [mode, copied] :
         std::vector<std::pair<mode_t, mode_t>>{{0664, 0644}, {0660, 0600}, {0602, 0622}, {0604, 0644}}) {
        ASSERT_EQ(::chmod(from.c_str(), mode), 0);
        ::unlink(directory.path("b").c_str());
        EXPECT_EQ(Files::copyContents(from, directory.path("b")), std::nullopt);
        EXPECT_EQ(permissionsOf(directory.path("b")), copied) << mode;
    }
}

TEST_F(FilesAtTheirLimits, KeepTheirModeBehindALinkWithoutTheRightsThatItLends) {
    directory.write("file", "old");
    ASSERT_EQ(::chmod(directory.path("file").c_str(), 04751), 0);
    EXPECT_EQ(Files::writeAtomically(chain(1), "new"), std::nullopt);
    EXPECT_EQ(permissionsOf(directory.path("file")), 0751U);
    EXPECT_EQ(directory.read("file"), "new");
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
        HiddenCopy file(directory.path("a"));
        EXPECT_EQ(names(), PathList{});
        ASSERT_EQ(file.makeFile(), 0);
        EXPECT_EQ(permissionsOf(file.path()), 0600U);
        EXPECT_EQ(::fcntl(file.item(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(file.item(), F_GETFL) & O_ACCMODE, O_RDWR);
        HiddenCopy folder(directory.path("b"));
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
    HiddenCopy kept(directory.path("a"));
    ASSERT_EQ(kept.makeFile(), 0);
    const auto path = kept.path();
    kept.keep();
    EXPECT_LT(kept.item(), 0);
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(AHiddenCopy, IsItsMakersAsLongAsThatLives) {
    HiddenCopy mine(directory.path("a"));
    ASSERT_EQ(mine.makeFile(), 0);
    {
        HiddenCopy theirs(directory.path("a"));
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
    const auto path = HiddenCopy(directory.path("a")).path();
    std::ofstream(path) << "half";
    {
        HiddenCopy file(directory.path("a"));
        ASSERT_EQ(file.makeFile(), 0);
        EXPECT_EQ(Files::size(path), 0U);
    }
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    std::ofstream(path + "/x") << "half";
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    {
        HiddenCopy file(directory.path("a"));
        ASSERT_EQ(file.makeFolder(), 0);
        EXPECT_EQ(std::get<PathList>(Files::contentsOfDirectory(path)), PathList{});
    }
    ASSERT_EQ(::symlink("elsewhere", path.c_str()), 0);
    HiddenCopy refused(directory.path("a"));
    EXPECT_EQ(refused.makeFile(), ELOOP);
    EXPECT_EQ(names().size(), 1U);
    HiddenCopy nowhere(directory.path("no/a"));
    EXPECT_EQ(nowhere.makeFile(), ENOENT);
    EXPECT_EQ(nowhere.makeFolder(), ENOENT);
}

} // namespace
