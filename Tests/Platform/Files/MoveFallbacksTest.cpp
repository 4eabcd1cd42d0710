// How items are moved, copied and removed where a call of the kernel fails; and descriptors that no program
// that is started inherits.

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/LockFile.h"
#include "Platform/Files/OutputStream.h"
#include "Platform/Files/PrivateArea.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

namespace {

namespace Files = Platform::Files;
using Platform::Error;
using Platform::FileDescriptor;
using TestSupport::runWithFailingCalls;
using Names = std::vector<std::string>;

class AMoveWithoutAStepOfItsOwn : public testing::Test {
protected:
    std::optional<Error> move(const std::string& from, const std::string& to, int number = EINVAL,
                              std::vector<long> calls = {SYS_renameat2}) const {
        std::optional<Error> error;
        runWithFailingCalls(calls, number, [&] { error = Files::moveItem(directory.path(from), directory.path(to)); });
        return error;
    }
    Names names() const { return std::get<Names>(Files::contentsOfDirectory(directory.path())); }

    TestSupport::TemporaryDirectory directory;
};

TEST_F(AMoveWithoutAStepOfItsOwn, MovesFilesLinksAndFolders) {
    for (const int number : {EINVAL, ENOSYS}) {
        directory.write("file", "1");
        directory.write("tree/a", "2");
        ASSERT_EQ(::symlink("nothing", directory.path("link").c_str()), 0);
        EXPECT_EQ(move("file", "file2", number), std::nullopt);
        EXPECT_EQ(move("tree", "tree2", number), std::nullopt);
        EXPECT_EQ(move("link", "link2", number), std::nullopt);
        EXPECT_EQ(names(), (Names{"file2", "link2", "tree2"}));
        EXPECT_EQ(directory.read("file2"), "1");
        EXPECT_EQ(directory.read("tree2/a"), "2");
        for (const auto& name : names())
            Files::removeItem(directory.path(name));
    }
}

TEST_F(AMoveWithoutAStepOfItsOwn, ReplacesNothing) {
    directory.write("file", "1");
    directory.write("tree/a", "2");
    directory.write("taken", "3");
    ASSERT_EQ(::mkdir(directory.path("empty").c_str(), 0700), 0);
    const Error inTheWay{"POSIX", EEXIST, directory.path("taken") + ": File exists"};
    EXPECT_EQ(move("file", "taken"), inTheWay);
    EXPECT_EQ(move("tree", "taken"), inTheWay);
    EXPECT_EQ(move("tree", "empty"), (Error{"POSIX", EEXIST, directory.path("empty") + ": File exists"}));
    EXPECT_EQ(names(), (Names{"empty", "file", "taken", "tree"}));
    EXPECT_EQ(directory.read("taken"), "3");
}

TEST_F(AMoveWithoutAStepOfItsOwn, NeedsNoLinksEither) {
    directory.write("file", "1");
    directory.write("taken", "3");
    EXPECT_EQ(move("file", "taken", EINVAL, {SYS_renameat2, SYS_linkat})->code, EEXIST);
    EXPECT_EQ(move("file", "file2", EINVAL, {SYS_renameat2, SYS_linkat}), std::nullopt);
    EXPECT_EQ(names(), (Names{"file2", "taken"}));
    EXPECT_EQ(move("gone", "x", EINVAL)->code, ENOENT);
}

TEST_F(AMoveWithoutAStepOfItsOwn, FailsWithEveryOtherErrorOfTheKernel) {
    directory.write("file", "1");
    EXPECT_EQ(move("file", "file2", EACCES), (Error{"POSIX", EACCES, directory.path("file") + ": Permission denied"}));
    EXPECT_EQ(names(), Names{"file"});
}

class ACopy : public AMoveWithoutAStepOfItsOwn {
protected:
    std::optional<Error> copy(const std::string& from, const std::string& to, const std::vector<long>& calls,
                              int number) const {
        std::optional<Error> error;
        runWithFailingCalls(calls, number, [&] { error = Files::copyItem(directory.path(from), directory.path(to)); });
        return error;
    }
    struct stat statusOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::lstat(directory.path(name).c_str(), &status), 0);
        return status;
    }
};

TEST_F(ACopy, IsMadeWithoutTheFileSystemsHelp) {
    const std::string content(3 << 20, 'c');
    directory.write("a", content);
    directory.write("tree/a", content);
    EXPECT_EQ(copy("a", "b", {SYS_copy_file_range}, EXDEV), std::nullopt);
    EXPECT_EQ(copy("tree", "tree2", {SYS_copy_file_range}, ENOSYS), std::nullopt);
    EXPECT_TRUE(directory.read("b") == content);
    EXPECT_TRUE(directory.read("tree2/a") == content);
}

TEST_F(ACopy, ThatCannotBeReadWholeLeavesNothing) {
    directory.write("a", "content");
    directory.write("tree/a", "content");
    const std::vector<long> calls{SYS_copy_file_range, SYS_sendfile};
    EXPECT_EQ(copy("a", "b", calls, EIO), (Error{"POSIX", EIO, directory.path("a") + ": Input/output error"}));
    EXPECT_EQ(copy("tree", "b", calls, EIO), (Error{"POSIX", EIO, directory.path("tree/a") + ": Input/output error"}));
    EXPECT_EQ(names(), (Names{"a", "tree"}));
}

TEST_F(ACopy, OfAFileIsMadeUnderAHiddenNameWhereItCannotGetItsOwnAfterwards) {
    directory.write("a", "content");
    EXPECT_EQ(copy("a", "b", {SYS_linkat}, EPERM), std::nullopt);
    EXPECT_EQ(directory.read("b"), "content");
    EXPECT_EQ(names(), (Names{"a", "b"}));
}

TEST_F(ACopy, HasTheTimesOfItsOriginalAndItsModeWithoutTheRightsThatItLends) {
    directory.write("a", "content");
    directory.write("tree/a", "content");
    const std::array<timespec, 2> times{timespec{1000, 5}, timespec{2000, 7}};
    for (const char* name : {"a", "tree/a", "tree"}) {
        ASSERT_EQ(::chmod(directory.path(name).c_str(), 06751), 0);
        ASSERT_EQ(::utimensat(AT_FDCWD, directory.path(name).c_str(), times.data(), 0), 0);
    }
    EXPECT_EQ(Files::copyItem(directory.path("a"), directory.path("b")), std::nullopt);
    EXPECT_EQ(Files::copyItem(directory.path("tree"), directory.path("copy")), std::nullopt);
    for (const char* name : {"b", "copy", "copy/a"}) {
        const auto status = statusOf(name);
        EXPECT_EQ(status.st_mode & 07777U, 0751U) << name;
        EXPECT_EQ(status.st_mtim.tv_sec, 2000) << name;
        EXPECT_EQ(status.st_mtim.tv_nsec, 7) << name;
    }
    EXPECT_EQ(statusOf("b").st_atim.tv_sec, 1000);
    EXPECT_EQ(statusOf("b").st_atim.tv_nsec, 5);
}

TEST_F(ACopy, OfALinkIsALinkAndFailsWhereSomethingIsInTheWay) {
    const std::string target(3000, 'l');
    ASSERT_EQ(::symlink(target.c_str(), directory.path("link").c_str()), 0);
    EXPECT_EQ(Files::copyItem(directory.path("link"), directory.path("copy")), std::nullopt);
    std::array<char, 4096> read{};
    EXPECT_EQ(::readlink(directory.path("copy").c_str(), read.data(), read.size()), 3000);
    EXPECT_EQ(std::string(read.data(), 3000), target);
    EXPECT_EQ(Files::copyItem(directory.path("link"), directory.path("no/copy")),
              (Error{"POSIX", ENOENT, directory.path("link") + ": No such file or directory"}));
}

TEST(AnAreaThatIsEmptied, NamesTheFirstItemThatCannotBeRemoved) {
    const TestSupport::TemporaryDirectory folder;
    const Platform::PrivateArea area(folder.path() + "/", "Area");
    folder.write("Area/Docs/a", "1");
    folder.write("Area/Docs/b", "2");
    std::optional<Error> error;
    runWithFailingCalls({SYS_unlink, SYS_unlinkat}, EACCES,
                        [&] { error = area.removeContentsOf(folder.path("Area/Docs")); });
    EXPECT_EQ(error, (Error{"POSIX", EACCES, folder.path("Area/Docs/a") + ": Permission denied"}));
    EXPECT_EQ(std::get<Names>(Files::contentsOfDirectory(folder.path("Area/Docs"))), (Names{"a", "b"}));
    EXPECT_EQ(area.removeContentsOf(folder.path("Area/none"))->code, ENOENT);
}

TEST(ADescriptorOfAFile, IsNoChilds) {
    const TestSupport::TemporaryDirectory folder;
    const auto expectFlags = [](const FileDescriptor& file, int flags) {
        EXPECT_EQ(::fcntl(file.get(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(file.get(), F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK), flags);
    };
    const auto opened = Platform::OutputStream::openToAppend(folder.path("a"));
    expectFlags(std::get<FileDescriptor>(opened), O_WRONLY | O_APPEND | O_NONBLOCK);
    Platform::OutputStream stream(folder.path("a"));
    EXPECT_FALSE(stream.duplicate());
    stream.open();
    expectFlags(stream.duplicate(), O_WRONLY | O_APPEND | O_NONBLOCK);
    const Platform::PrivateArea area(folder.path() + "/", "Area");
    ASSERT_EQ(area.makeFolderOf(folder.path("Area/a")), std::nullopt);
    expectFlags(std::get<FileDescriptor>(area.openToAppend(folder.path("Area/a"))), O_WRONLY | O_APPEND | O_NONBLOCK);
    const Platform::LockFile locks;
    expectFlags(std::get<Platform::LockFile::Lock>(locks.lock(area, folder.path("Area/locks"), 1)).file,
                O_WRONLY | O_APPEND | O_NONBLOCK);
}

TEST(ADescriptorOfAFile, IsClosedWithEveryOperationThatFailsOrNot) {
    const TestSupport::TemporaryDirectory folder;
    const auto next = [] {
        const int lowest = ::dup(0);
        ::close(lowest);
        return lowest;
    };
    folder.write("a", "content");
    folder.write("tree/b", "content");
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    const int before = next();
    EXPECT_EQ(Files::copyItem(folder.path("a"), folder.path("c")), std::nullopt);
    EXPECT_EQ(Files::copyItem(folder.path("tree"), folder.path("d")), std::nullopt);
    EXPECT_EQ(Files::copyContents(folder.path("a"), folder.path("e")), std::nullopt);
    EXPECT_EQ(Files::writeAtomically(folder.path("f"), "x"), std::nullopt);
    EXPECT_EQ(Files::contentsOfDirectory(folder.path("tree")), (std::variant<Names, Error>(Names{"b"})));
    EXPECT_TRUE(std::holds_alternative<Error>(Files::contents(folder.path("fifo"))));
    EXPECT_TRUE(std::holds_alternative<Error>(Files::contents(folder.path("a"), 3)));
    EXPECT_EQ(Files::copyContents(folder.path("fifo"), folder.path("g"))->code, EINVAL);
    EXPECT_EQ(next(), before);
}

TEST(ADescriptor, IsOwnedByOneAndLeavesErrnoAlone) {
    FileDescriptor one(::dup(0));
    const int number = one.get();
    FileDescriptor other(std::move(one));
    EXPECT_EQ(other.get(), number);
    EXPECT_FALSE(one); // NOLINT(bugprone-use-after-move): what is left behind is no descriptor
    EXPECT_EQ(one.get(), -1);
    FileDescriptor& same = other;
    other = std::move(same);
    EXPECT_EQ(::fcntl(number, F_GETFD), 0);
    errno = ENOTTY;
    other.reset();
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    FileDescriptor released(::dup(0));
    const int kept = released.release();
    EXPECT_FALSE(released);
    EXPECT_EQ(::close(kept), 0);
    EXPECT_TRUE(FileDescriptor(::dup(0)));
    FileDescriptor zero(0);
    EXPECT_TRUE(zero);
    EXPECT_EQ(zero.release(), 0);
}

} // namespace
