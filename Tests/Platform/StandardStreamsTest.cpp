// The standard streams, signals that the loop receives, and exceptions that leave a task.

#include "Platform/StandardStreams.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

using namespace Platform;

namespace {

/// Puts another descriptor in the place of a standard stream, while it lives.
class Redirection {
public:
    Redirection(int stream, int other) : stream_(stream), before_(::dup(stream)) { ::dup2(other, stream); }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;
    ~Redirection() { ::dup2(before_.get(), stream_); }

private:
    int stream_;
    FileDescriptor before_;
};

} // namespace

TEST(StandardOutput, TakesEverythingThatIsWritten) {
    const TestSupport::TemporaryDirectory folder;
    const FileDescriptor file(::open(folder.path("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const std::string bytes(300000, 'x');
    std::optional<Error> error;
    {
        const Redirection redirection(STDOUT_FILENO, file.get());
        error = StandardStreams::writeOutput(bytes);
    }
    EXPECT_FALSE(error);
    EXPECT_EQ(folder.read("out"), bytes);
}

TEST(StandardOutput, FailsWhereItsReaderHasGone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ::close(ends[0]);
    const FileDescriptor writer(ends[1]);
    std::optional<Error> error;
    {
        const Redirection redirection(STDOUT_FILENO, writer.get());
        error = StandardStreams::writeOutput("x");
    }
    EXPECT_EQ(error, (Error{"POSIX", EPIPE, "standard output: Broken pipe"}));
}

TEST(StandardInput, IsReadToItsEndUpToALimit) {
    const TestSupport::TemporaryDirectory folder;
    const std::string bytes(200000, 'y');
    const FileDescriptor file(::open(folder.write("in", bytes).c_str(), O_RDONLY | O_CLOEXEC));
    const Redirection redirection(STDIN_FILENO, file.get());
    EXPECT_EQ(StandardStreams::readInput(200000), (std::variant<std::string, Error>(bytes)));
    ::lseek(STDIN_FILENO, 0, SEEK_SET);
    EXPECT_EQ(StandardStreams::readInput(199999),
              (std::variant<std::string, Error>(Error{"POSIX", EFBIG, "standard input: File too large"})));
}

TEST(ASignalWatch, NotifiesTheLoopOfASignalInsteadOfEndingTheProcess) {
    RunLoop loop;
    int notified = 0;
    {
        const SignalWatch watch(SIGINT, [&] { ++notified; });
        ::raise(SIGINT);
        EXPECT_TRUE(loop.runUntil([&] { return notified == 1; }));
        ::raise(SIGINT);
        EXPECT_TRUE(loop.runUntil([&] { return notified == 2; }));
    }
    sigset_t blocked{};
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
}

TEST(ASignalWatch, ReceivesASignalThatTheProcessWasStartedToIgnore) {
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    RunLoop loop;
    bool notified = false;
    {
        const SignalWatch watch(SIGUSR1, [&] { notified = true; });
        ::raise(SIGUSR1);
        EXPECT_TRUE(loop.runUntil([&] { return notified; }));
    }
    EXPECT_EQ(std::signal(SIGUSR1, before), SIG_IGN);
}

TEST(AnExceptionHandler, ReceivesWhatLeavesATask) {
    RunLoop loop;
    std::string text;
    loop.setExceptionHandler([&](const std::exception& exception) { text = exception.what(); });
    Queue::main().async([] { throw std::runtime_error("no good"); });
    EXPECT_TRUE(loop.runUntil([&] { return text == "no good"; }));
}
