#include "Platform/Files/Flush.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

namespace Flush = Platform::Flush;
using Platform::Error;
using TestSupport::runWithFailingCalls;

class AFlush : public testing::Test {
protected:
    TestSupport::TemporaryDirectory folder;
    Platform::FileDescriptor file{::open(folder.write("a", "content").c_str(), O_RDONLY | O_CLOEXEC)};
};

TEST_F(AFlush, OfAFileAFolderAndEntriesSucceeds) {
    EXPECT_EQ(Flush::data(file.get(), "a"), std::nullopt);
    EXPECT_EQ(Flush::item(file.get(), "a"), std::nullopt);
    EXPECT_EQ(Flush::folder(folder.path()), std::nullopt);
    EXPECT_EQ(Flush::folder(""), std::nullopt);
    EXPECT_EQ(Flush::entries({folder.path("a"), folder.path("b"), "relative"}), std::nullopt);
}

TEST_F(AFlush, HasErrorsOfItsOwn) {
    const auto error = Flush::data(-1, "the path");
    EXPECT_EQ(error, (Error{"POSIX flush", EBADF, "the path: Bad file descriptor"}));
    EXPECT_TRUE(Flush::hasFailed(error));
    EXPECT_FALSE(Flush::hasFailed(std::nullopt));
    EXPECT_FALSE(Flush::hasFailed(Error{"POSIX", EBADF, ""}));
    EXPECT_EQ(Flush::failure("p", EIO), (Error{"POSIX flush", EIO, "p: Input/output error"}));
}

TEST_F(AFlush, OfAFolderThatIsNotThereFails) {
    EXPECT_EQ(Flush::folder(folder.path("gone"))->code, ENOENT);
    EXPECT_EQ(Flush::folder(folder.path("a"))->code, ENOTDIR);
    const auto error = Flush::entries({folder.path("a"), folder.path("gone/b"), folder.path("lost/c")});
    EXPECT_EQ(error, (Error{"POSIX flush", ENOENT, folder.path("gone") + ": No such file or directory"}));
}

TEST_F(AFlush, FailsWhereTheDiskDoes) {
    runWithFailingCalls({SYS_fdatasync, SYS_fsync}, EIO, [&] {
        EXPECT_EQ(Flush::data(file.get(), "a")->code, EIO);
        EXPECT_EQ(Flush::item(file.get(), "a")->code, EIO);
        EXPECT_EQ(Flush::folder(folder.path()), (Error{"POSIX flush", EIO, folder.path() + ": Input/output error"}));
    });
}

TEST_F(AFlush, SucceedsOnAFileSystemThatHasNothingToFlush) {
    for (const int number : {EINVAL, EROFS, ENOSYS, ENOTSUP}) {
        runWithFailingCalls({SYS_fdatasync, SYS_fsync}, number, [&] {
            EXPECT_EQ(Flush::data(file.get(), "a"), std::nullopt);
            EXPECT_EQ(Flush::folder(folder.path()), std::nullopt);
        });
    }
}

TEST_F(AFlush, OfAFolderThatCannotBeReadFlushesEverything) {
    runWithFailingCalls({SYS_openat}, EACCES, [&] { EXPECT_EQ(Flush::folder(folder.path()), std::nullopt); });
}

TEST_F(AFlush, OfAReplacedFileIncludesItsFolder) {
    runWithFailingCalls({SYS_fsync}, EIO,
                        [&] { EXPECT_EQ(Platform::Files::writeAtomically(folder.path("b"), "new")->code, EIO); });
    EXPECT_FALSE(Platform::Files::exists(folder.path("b")));
}

} // namespace
