#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Support/ErrorCode.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <climits>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {

namespace Files = Platform::Files;
using TestSupport::codeOf;
using TestSupport::TemporaryDirectory;
using Names = std::vector<std::string>;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

std::string linkTarget(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const auto length = ::readlink(path.c_str(), target.data(), target.size());
    return length < 0 ? "(no link)" : std::string(target.data(), static_cast<std::size_t>(length));
}

Names namesIn(const std::string& path) {
    auto names = Files::contentsOfDirectory(path);
    return std::holds_alternative<Names>(names) ? std::get<Names>(names) : Names{"(no folder)"};
}

/// A folder on the memory file system, which is never the one of the disk.
class FolderInMemory {
public:
    FolderInMemory() : variable_{{"TMPDIR", "/dev/shm"}} {}
    const TemporaryDirectory& operator*() const { return folder_; }
    const TemporaryDirectory* operator->() const { return &folder_; }

private:
    TestSupport::ScopedEnvironment variable_;
    TemporaryDirectory folder_;
};

/// Fills `tree` of a folder with one item of each kind that can be copied.
void makeTree(const TemporaryDirectory& folder) {
    folder.write("tree/sub/file", std::string(100'000, 'f'));
    folder.write("tree/script", "#!/bin/sh\n");
    folder.write("tree/empty", "");
    ASSERT_EQ(::chmod(folder.path("tree/script").c_str(), 0750), 0);
    ASSERT_EQ(::symlink("nowhere/else", folder.path("tree/link").c_str()), 0);
    ASSERT_EQ(::symlink("sub", folder.path("tree/folderlink").c_str()), 0);
    ASSERT_EQ(::mkdir(folder.path("tree/none").c_str(), 0500), 0);
}

void expectTree(const TemporaryDirectory& folder, const std::string& name) {
    EXPECT_EQ(namesIn(folder.path(name)), (Names{"empty", "folderlink", "link", "none", "script", "sub"}));
    EXPECT_EQ(folder.read(name + "/sub/file"), std::string(100'000, 'f'));
    EXPECT_EQ(folder.read(name + "/empty"), "");
    EXPECT_EQ(statusOf(folder.path(name + "/script")).st_mode, S_IFREG | 0750U);
    EXPECT_EQ(statusOf(folder.path(name + "/none")).st_mode, S_IFDIR | 0500U);
    EXPECT_EQ(linkTarget(folder.path(name + "/link")), "nowhere/else");
    EXPECT_EQ(linkTarget(folder.path(name + "/folderlink")), "sub");
}

TEST(AMovedItem, IsTheSameItemInItsNewPlace) {
    const TemporaryDirectory folder;
    const auto from = folder.write("a", "1");
    const auto inode = statusOf(from).st_ino;
    EXPECT_EQ(codeOf(Files::moveItem(from, folder.path("b"))), 0);
    EXPECT_EQ(statusOf(folder.path("b")).st_ino, inode);
    EXPECT_EQ(namesIn(folder.path()), Names{"b"});
}

TEST(AMovedItem, NeverReplacesAnother) {
    const TemporaryDirectory folder;
    folder.write("a", "1");
    folder.write("b", "2");
    ASSERT_EQ(codeOf(Files::createDirectory(folder.path("folder"))), 0);
    ASSERT_EQ(::symlink("nothing", folder.path("link").c_str()), 0);
    for (const char* target : {"b", "folder", "link", "a"})
        EXPECT_EQ(codeOf(Files::moveItem(folder.path("a"), folder.path(target))), EEXIST) << target;
    EXPECT_EQ(folder.read("a"), "1");
    EXPECT_EQ(folder.read("b"), "2");
    EXPECT_EQ(linkTarget(folder.path("link")), "nothing");
}

TEST(AMovedItem, HasToBeThereAndItsTargetsFolderToo) {
    const TemporaryDirectory folder;
    folder.write("a", "1");
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("x"), folder.path("b"))), ENOENT);
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("a"), folder.path("no/b"))), ENOENT);
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("a"), folder.path("b") + std::string("\0c", 2))), ENOENT);
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("a") + std::string("\0c", 2), folder.path("b"))), ENOENT);
    EXPECT_EQ(namesIn(folder.path()), Names{"a"});
}

TEST(AMovedItem, CannotGoIntoItself) {
    const TemporaryDirectory folder;
    folder.write("tree/a", "1");
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("tree"), folder.path("tree/b"))), EINVAL);
    EXPECT_EQ(namesIn(folder.path("tree")), Names{"a"});
}

TEST(AMovedItem, CanBeALink) {
    const TemporaryDirectory folder;
    ASSERT_EQ(::symlink("nothing", folder.path("link").c_str()), 0);
    EXPECT_EQ(codeOf(Files::moveItem(folder.path("link"), folder.path("b"))), 0);
    EXPECT_EQ(linkTarget(folder.path("b")), "nothing");
}

class AMoveBetweenFileSystems : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(statusOf(disk.path()).st_dev, statusOf(memory->path()).st_dev)
            << "the temporary directory and /dev/shm are one file system";
    }
    TemporaryDirectory disk;
    FolderInMemory memory;
};

TEST(AMoveOutOfAnOpenFolder, MovesTheFile) {
    const TemporaryDirectory folder;
    folder.write("from/file", "content");
    const Platform::FileDescriptor from(::open(folder.path("from").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ(codeOf(Files::moveFile(from.get(), "file", folder.path("placed"))), 0);
    EXPECT_EQ(folder.read("placed"), "content");
    EXPECT_EQ(namesIn(folder.path("from")), Names());
}

TEST(AMoveOutOfAnOpenFolder, NamesInItsErrorWhatStandsInTheWay) {
    const TemporaryDirectory folder;
    folder.write("from/file", "content");
    const auto target = folder.write("taken", "other");
    const Platform::FileDescriptor from(::open(folder.path("from").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const auto inTheWay = Files::moveFile(from.get(), "file", target);
    ASSERT_TRUE(inTheWay);
    EXPECT_EQ(*inTheWay, (Platform::Error{"POSIX", EEXIST, target + ": File exists"}));
    const auto missing = Files::moveFile(from.get(), "nothing", folder.path("placed"));
    ASSERT_TRUE(missing);
    EXPECT_EQ(*missing, (Platform::Error{"POSIX", ENOENT, "nothing: No such file or directory"}));
    EXPECT_EQ(folder.read("from/file"), "content");
    EXPECT_EQ(folder.read("taken"), "other");
}

TEST_F(AMoveBetweenFileSystems, CarriesContentModeAndTimes) {
    const std::string content(5 << 20, 'x');
    const auto from = disk.write("a", content);
    ASSERT_EQ(::chmod(from.c_str(), 0640), 0);
    const std::array<timespec, 2> times{timespec{1000, 5}, timespec{2000, 7}};
    ASSERT_EQ(::utimensat(AT_FDCWD, from.c_str(), times.data(), 0), 0);
    EXPECT_EQ(codeOf(Files::moveItem(from, memory->path("b"))), 0);
    EXPECT_EQ(memory->read("b"), content);
    const auto status = statusOf(memory->path("b"));
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
    EXPECT_EQ(status.st_mtim.tv_sec, 2000);
    EXPECT_EQ(status.st_mtim.tv_nsec, 7);
    EXPECT_EQ(namesIn(disk.path()), Names{});
    EXPECT_EQ(namesIn(memory->path()), Names{"b"});
}

TEST_F(AMoveBetweenFileSystems, CarriesWholeTreesBothWays) {
    makeTree(disk);
    EXPECT_EQ(codeOf(Files::moveItem(disk.path("tree"), memory->path("there"))), 0);
    expectTree(*memory, "there");
    EXPECT_EQ(namesIn(disk.path()), Names{});
    EXPECT_EQ(codeOf(Files::moveItem(memory->path("there"), disk.path("back"))), 0);
    expectTree(disk, "back");
    EXPECT_EQ(namesIn(memory->path()), Names{});
}

TEST_F(AMoveBetweenFileSystems, NeverReplacesAnother) {
    disk.write("a", "1");
    memory->write("b", "2");
    memory->write("folder/x", "3");
    ASSERT_EQ(::symlink("nothing", memory->path("link").c_str()), 0);
    for (const char* target : {"b", "folder", "link"})
        EXPECT_EQ(codeOf(Files::moveItem(disk.path("a"), memory->path(target))), EEXIST) << target;
    EXPECT_EQ(disk.read("a"), "1");
    EXPECT_EQ(memory->read("b"), "2");
    EXPECT_EQ(namesIn(memory->path()), (Names{"b", "folder", "link"}));
}

TEST_F(AMoveBetweenFileSystems, LeavesEverythingInPlaceWhereItFails) {
    makeTree(disk);
    ASSERT_EQ(::mkfifo(disk.path("tree/sub/fifo").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(Files::moveItem(disk.path("tree"), memory->path("b"))), ENOTSUP);
    EXPECT_EQ(namesIn(memory->path()), Names{});
    EXPECT_EQ(namesIn(disk.path("tree/sub")), (Names{"fifo", "file"}));
    EXPECT_EQ(codeOf(Files::moveItem(disk.path("tree"), memory->path("no/b"))), ENOENT);
}

TEST(ACopiedItem, IsAnotherItemOfTheSameContent) {
    const TemporaryDirectory folder;
    folder.write("a", "1");
    ASSERT_EQ(::chmod(folder.path("a").c_str(), 0604), 0);
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("a"), folder.path("b"))), 0);
    EXPECT_NE(statusOf(folder.path("a")).st_ino, statusOf(folder.path("b")).st_ino);
    EXPECT_EQ(statusOf(folder.path("b")).st_mode, S_IFREG | 0604U);
    EXPECT_EQ(folder.read("b"), "1");
    EXPECT_EQ(folder.read("a"), "1");
}

TEST(ACopiedItem, CanBeAWholeTree) {
    const TemporaryDirectory folder;
    makeTree(folder);
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("tree"), folder.path("copy"))), 0);
    expectTree(folder, "copy");
    expectTree(folder, "tree");
    EXPECT_EQ(namesIn(folder.path()), (Names{"copy", "tree"}));
}

TEST(ACopiedItem, HasHolesReadAsZeroes) {
    const TemporaryDirectory folder;
    folder.write("a", "");
    ASSERT_EQ(::truncate(folder.path("a").c_str(), 3 << 20), 0);
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("a"), folder.path("b"))), 0);
    EXPECT_EQ(folder.read("b"), std::string(3 << 20, '\0'));
}

TEST(ACopiedItem, MayComeFromAFileWhoseSizeDoesNotTell) {
    const TemporaryDirectory folder;
    EXPECT_EQ(codeOf(Files::copyItem("/proc/version", folder.path("b"))), 0);
    EXPECT_EQ(folder.read("b"), std::get<std::string>(Files::contents("/proc/version")));
    EXPECT_NE(folder.read("b"), "");
}

TEST(ACopiedItem, NeverReplacesAnother) {
    const TemporaryDirectory folder;
    folder.write("a", "1");
    folder.write("b", "2");
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("a"), folder.path("b"))), EEXIST);
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("a"), folder.path("a"))), EEXIST);
    EXPECT_EQ(folder.read("b"), "2");
}

TEST(ACopiedItem, CannotGoIntoItself) {
    const TemporaryDirectory folder;
    folder.write("tree/a", "1");
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("tree"), folder.path("tree/copy"))), EINVAL);
    EXPECT_EQ(namesIn(folder.path("tree")), Names{"a"});
}

TEST(ACopiedItem, IsNoDeviceSocketOrFifo) {
    const TemporaryDirectory folder;
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    folder.path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(listener);
    for (const std::string& item : {folder.path("fifo"), folder.path("socket"), std::string("/dev/null")})
        EXPECT_EQ(codeOf(Files::copyItem(item, folder.path("b"))), ENOTSUP) << item;
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("x"), folder.path("b"))), ENOENT);
    EXPECT_EQ(namesIn(folder.path()), (Names{"fifo", "socket"}));
}

TEST(ACopiedItem, ThatFailedHalfWayIsRemovedWithItsClosedFolders) {
    const TemporaryDirectory folder;
    folder.write("tree/closed/file", "1");
    ASSERT_EQ(::chmod(folder.path("tree/closed").c_str(), 0500), 0);
    ASSERT_EQ(::mkfifo(folder.path("tree/fifo").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(Files::copyItem(folder.path("tree"), folder.path("copy"))), ENOTSUP);
    EXPECT_EQ(namesIn(folder.path()), Names{"tree"});
    ASSERT_EQ(::chmod(folder.path("tree/closed").c_str(), 0700), 0);
}

} // namespace
