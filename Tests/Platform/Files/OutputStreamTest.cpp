#include "Platform/Files/OutputStream.h"

#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

using Platform::Error;
using Platform::OutputStream;
using TestSupport::TemporaryDirectory;

class AnOutputStream : public testing::Test {
protected:
    TemporaryDirectory folder;
};

TEST_F(AnOutputStream, AppendsToAFileThatItMakes) {
    const mode_t before = ::umask(027);
    OutputStream stream(folder.path("a"));
    stream.open();
    ::umask(before);
    EXPECT_EQ(stream.write("one"), 3);
    EXPECT_EQ(stream.write(std::string("\0two", 4)), 4);
    EXPECT_EQ(stream.write(""), 0);
    EXPECT_EQ(stream.streamError(), std::nullopt);
    EXPECT_EQ(folder.read("a"), std::string("one\0two", 7));
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(AnOutputStream, AppendsToWhatIsThere) {
    const auto path = folder.write("a", "old");
    OutputStream stream(path);
    stream.open();
    folder.write("a", "other");
    EXPECT_EQ(stream.write("+new"), 4);
    EXPECT_EQ(folder.read("a"), "other+new");
}

TEST_F(AnOutputStream, FailsEachWriteBeforeItIsOpened) {
    OutputStream stream(folder.path("a"));
    EXPECT_EQ(stream.write("x"), -1);
    EXPECT_EQ(stream.streamError(), (Error{"POSIX", EBADF, folder.path("a") + ": Bad file descriptor"}));
}

TEST_F(AnOutputStream, FailsEachWriteOnceItIsClosed) {
    OutputStream stream(folder.path("a"));
    stream.open();
    EXPECT_EQ(stream.write("x"), 1);
    stream.close();
    EXPECT_EQ(stream.write("y"), -1);
    EXPECT_EQ(stream.streamError()->code, EBADF);
    stream.close();
    stream.open();
    EXPECT_EQ(stream.write("z"), 1);
    EXPECT_EQ(folder.read("a"), "xz");
}

TEST_F(AnOutputStream, TellsWhyItCouldNotBeOpened) {
    OutputStream missing(folder.path("no/a"));
    missing.open();
    EXPECT_EQ(missing.streamError(), (Error{"POSIX", ENOENT, folder.path("no/a") + ": No such file or directory"}));
    EXPECT_EQ(missing.write("x"), -1);
    OutputStream aFolder(folder.path());
    aFolder.open();
    EXPECT_EQ(aFolder.streamError()->code, EISDIR);
    OutputStream zeroByte(folder.path("a") + std::string("\0b", 2));
    zeroByte.open();
    EXPECT_EQ(zeroByte.streamError()->code, ENOENT);
}

TEST_F(AnOutputStream, RefusesWhatAWriteCouldWaitFor) {
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    OutputStream stream(folder.path("fifo"));
    stream.open();
    EXPECT_EQ(stream.streamError()->code, ENXIO);
    const int reader = ::open(folder.path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    stream.open();
    EXPECT_EQ(stream.streamError()->code, EINVAL);
    EXPECT_EQ(stream.write("x"), -1);
    ::close(reader);
    OutputStream device("/dev/null");
    device.open();
    EXPECT_EQ(device.streamError()->code, EINVAL);
}

/// Lets no file of this process grow beyond some bytes, and turns the signal of that into an error.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int) = nullptr;
};

TEST_F(AnOutputStream, TellsHowMuchWasWrittenWhereNotAllFits) {
    OutputStream stream(folder.path("a"));
    stream.open();
    const FileSizeLimit limit(10);
    EXPECT_EQ(stream.write("12345678"), 8);
    EXPECT_EQ(stream.write("12345678"), 2);
    EXPECT_EQ(stream.streamError(), std::nullopt);
    EXPECT_EQ(stream.write("x"), -1);
    EXPECT_EQ(stream.streamError()->code, EFBIG);
}

TEST_F(AnOutputStream, ClosesItsFileWhenItGoesOrMoves) {
    const int lowest = ::dup(0);
    ::close(lowest);
    {
        OutputStream first(folder.path("a"));
        first.open();
        OutputStream second(std::move(first));
        EXPECT_EQ(second.write("1"), 1);
        OutputStream third(folder.path("b"));
        third.open();
        third = std::move(second);
        EXPECT_EQ(third.write("2"), 1);
    }
    EXPECT_EQ(folder.read("a"), "12");
    const int again = ::dup(0);
    EXPECT_EQ(again, lowest);
    ::close(again);
}

} // namespace
