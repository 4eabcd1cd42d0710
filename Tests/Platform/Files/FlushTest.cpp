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
    TestSupport::TemporaryDirectory folder_;
    Platform::FileDescriptor file_{::open(folder_.write("a", "content").c_str(), O_RDONLY | O_CLOEXEC)};
};

TEST_F(AFlush, OfAFileAFolderAndEntriesSucceeds) {
    EXPECT_EQ(Flush::data(file_.get(), "a"), std::nullopt);
    EXPECT_EQ(Flush::item(file_.get(), "a"), std::nullopt);
    EXPECT_EQ(Flush::folder(folder_.path()), std::nullopt);
    EXPECT_EQ(Flush::folder(""), std::nullopt);
    EXPECT_EQ(Flush::entries({folder_.path("a"), folder_.path("b"), "relative"}), std::nullopt);
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
    EXPECT_EQ(Flush::folder(folder_.path("gone"))->code, ENOENT);
    EXPECT_EQ(Flush::folder(folder_.path("a"))->code, ENOTDIR);
    const auto error = Flush::entries({folder_.path("a"), folder_.path("gone/b"), folder_.path("lost/c")});
    EXPECT_EQ(error, (Error{"POSIX flush", ENOENT, folder_.path("gone") + ": No such file or directory"}));
}

TEST_F(AFlush, FailsWhereTheDiskDoes) {
    runWithFailingCalls({SYS_fdatasync, SYS_fsync}, EIO, [&] {
        EXPECT_EQ(Flush::data(file_.get(), "a")->code, EIO);
        EXPECT_EQ(Flush::item(file_.get(), "a")->code, EIO);
        EXPECT_EQ(Flush::folder(folder_.path()), (Error{"POSIX flush", EIO, folder_.path() + ": Input/output error"}));
    });
}

TEST_F(AFlush, SucceedsOnAFileSystemThatHasNothingToFlush) {
    for (const int number : {EINVAL, EROFS, ENOSYS, ENOTSUP}) {
        runWithFailingCalls({SYS_fdatasync, SYS_fsync}, number, [&] {
            EXPECT_EQ(Flush::data(file_.get(), "a"), std::nullopt);
            EXPECT_EQ(Flush::folder(folder_.path()), std::nullopt);
        });
    }
}

TEST_F(AFlush, OfAFolderThatCannotBeReadFlushesEverything) {
    runWithFailingCalls({SYS_openat}, EACCES, [&] { EXPECT_EQ(Flush::folder(folder_.path()), std::nullopt); });
}

TEST_F(AFlush, OfAReplacedFileIncludesItsFolder) {
    runWithFailingCalls({SYS_fsync}, EIO,
                        [&] { EXPECT_EQ(Platform::Files::writeAtomically(folder_.path("b"), "new")->code, EIO); });
    EXPECT_FALSE(Platform::Files::exists(folder_.path("b")));
}

} // namespace
