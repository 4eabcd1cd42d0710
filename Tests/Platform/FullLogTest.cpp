// A log whose reader is slow, has disconnected, or reads nothing: writing goes on, and what could not be written is
// counted.

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Log.h"
#include "Support/Pattern.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

namespace {

using Platform::FileDescriptor;
namespace Log = Platform::Log;

struct Ends {
    FileDescriptor reading;
    FileDescriptor writing;
};

Ends madePipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends madeSocketPair() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends madeTerminal() {
    int reading = -1;
    int writing = -1;
    EXPECT_EQ(::openpty(&reading, &writing, nullptr, nullptr, nullptr), 0);
    termios settings{};
    ::tcgetattr(writing, &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(writing, TCSANOW, &settings);
    return {FileDescriptor(reading), FileDescriptor(writing)};
}

/// What can be read at present.
std::string readAvailable(const FileDescriptor& reading) {
    std::string text;
    std::array<char, 4096> piece{};
    pollfd input{reading.get(), POLLIN, 0};
    while (::poll(&input, 1, 0) == 1) {
        const auto got = ::read(reading.get(), piece.data(), piece.size());
        if (got <= 0)
            break;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
}

/// The rest of a stream, whose last writer is this process.
std::string readToItsEnd(Ends& ends) {
    EXPECT_EQ(::fcntl(ends.writing.get(), F_GETFL) & O_NONBLOCK, 0) << "other processes have the stream too";
    ends.writing.reset();
    std::string text;
    std::array<char, 4096> piece{};
    // A terminal without a writer gives an error (EIO).
    for (ssize_t got = 0; (got = ::read(ends.reading.get(), piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(got));
    return text;
}

/// Starts `body` in a process of its own whose standard error is `stream`, and which ends after a minute.
pid_t startedProcess(int stream, const std::function<void()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
        std::signal(SIGPIPE, SIG_DFL);
        ::dup2(stream, STDERR_FILENO);
        body();
        ::_exit(0);
    }
    return child;
}

int waitStatus(pid_t child) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

int statusOfAProcess(int stream, const std::function<void()>& body) {
    return waitStatus(startedProcess(stream, body));
}

/// Whether each line of a log is one that was written: "line NUMBER xxx...", or the count of those that are missing.
/// Adds them up.
void expectWholeLines(const std::string& text, std::size_t length, long expected) {
    const TestSupport::Pattern form("[-0-9]+ [.:0-9]+ PlatformTests\\[[0-9]+\\] (?:line ([0-9]+) x{" +
                                    std::to_string(length) + "}|([0-9]+) log entries could not be written)");
    ASSERT_TRUE(text.ends_with('\n')) << text.substr(text.size() - std::min<std::size_t>(text.size(), 200));
    std::istringstream lines(text);
    long written = 0;
    long counted = 0;
    long countLines = 0;
    for (std::string line; std::getline(lines, line);) {
        const auto groups = form.groups(line);
        ASSERT_TRUE(groups) << line.substr(0, 200);
        if (const auto& count = groups->at(1); !count.empty()) {
            counted += std::stol(count);
            ++countLines;
        } else {
            EXPECT_EQ(std::stol(groups->at(0)), written + counted);
            ++written;
        }
    }
    EXPECT_EQ(written + counted, expected);
    EXPECT_GT(written, 1);
    EXPECT_GT(counted, 0);
    // One for each gap: a terminal may take a little more meanwhile.
    EXPECT_GT(countLines, 0);
    EXPECT_LT(countLines, 10);
}

/// What comes of 1,000 lines for a stream that nobody reads meanwhile, and one more after it was read.
std::string logOfAnUnreadStream(Ends ends, std::size_t length) {
    auto full = madePipe();
    auto read = madePipe();
    char mark = 'x';
    const pid_t child = startedProcess(ends.writing.get(), [&] {
        const std::string rest(length, 'x');
        for (int number = 0; number < 1000; ++number)
            Log::write("line " + std::to_string(number) + " " + rest);
        if (::write(full.writing.get(), &mark, 1) != 1 || ::read(read.reading.get(), &mark, 1) != 1)
            ::_exit(1);
        Log::write("line 1000 " + rest);
    });
    full.writing.reset();
    EXPECT_EQ(::read(full.reading.get(), &mark, 1), 1) << "the log holds its process up";
    std::string text = readAvailable(ends.reading);
    EXPECT_EQ(::write(read.writing.get(), &mark, 1), 1);
    EXPECT_EQ(waitStatus(child), 0);
    return text + readToItsEnd(ends);
}

TEST(ALogThatNobodyReads, HoldsUpNobodyAndCountsWhatAPipeDoesNotTake) {
    expectWholeLines(logOfAnUnreadStream(madePipe(), 500), 500, 1001);
}

TEST(ALogThatNobodyReads, FinishesTheLongLineThatItBegan) {
    // More than a pipe takes whole or not at all (pipe(7), PIPE_BUF).
    expectWholeLines(logOfAnUnreadStream(madePipe(), 10'000), 10'000, 1001);
}

TEST(ALogThatNobodyReads, CountsWhatASocketDoesNotTake) {
    expectWholeLines(logOfAnUnreadStream(madeSocketPair(), 5'000), 5'000, 1001);
}

TEST(ALogThatNobodyReads, CountsWhatATerminalDoesNotTake) {
    expectWholeLines(logOfAnUnreadStream(madeTerminal(), 500), 500, 1001);
}

TEST(ALogThatNobodyReads, HoldsUpNobodyWhereItsTerminalIsStopped) {
    auto ends = madeTerminal();
    ASSERT_EQ(::tcflow(ends.writing.get(), TCOOFF), 0);
    const int status = statusOfAProcess(ends.writing.get(), [&] {
        Log::write("one");
        Log::write("two");
        ::tcflow(ends.writing.get(), TCOON);
        Log::write("three");
    });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(
        TestSupport::Pattern(".*\\] 2 log entries could not be written\n.*\\] three\n").matches(readToItsEnd(ends)));
}

TEST(ALogThatNobodyReads, LeavesTheRestOfALineToTheStreamInWhichItBegan) {
    auto full = madePipe();
    auto next = madePipe();
    ASSERT_EQ(::fcntl(full.writing.get(), F_SETPIPE_SZ, 4096), 4096);
    EXPECT_EQ(statusOfAProcess(full.writing.get(),
                               [&] {
                                   Log::write("begun " + std::string(10'000, 'x'));
                                   ::dup2(next.writing.get(), STDERR_FILENO);
                                   Log::write("next");
                               }),
              0);
    const std::string begun = readAvailable(full.reading);
    EXPECT_NE(begun.find(" begun xxx"), std::string::npos);
    EXPECT_EQ(begun.size(), 4096U);
    const TestSupport::Pattern whole("[-0-9]+ [.:0-9]+ PlatformTests\\[[0-9]+\\] next\n");
    EXPECT_TRUE(whole.matches(readToItsEnd(next)));
}

TEST(ALogThatNobodyReads, EndsNoProcessWhereItsReaderHasGone) {
    for (auto ends : {madePipe, madeSocketPair, madeTerminal}) {
        auto made = ends();
        made.reading.reset();
        EXPECT_EQ(statusOfAProcess(made.writing.get(),
                                   [] {
                                       Log::write("one");
                                       Log::write("two");
                                   }),
                  0);
    }
}

TEST(ALogThatNobodyReads, LeavesTheSignalsOfTheProcessAsTheyAre) {
    auto ends = madePipe();
    ends.reading.reset();
    const auto reached = madePipe();
    const int status = statusOfAProcess(ends.writing.get(), [&] {
        sigset_t before{};
        ::pthread_sigmask(SIG_BLOCK, nullptr, &before);
        Log::write("one");
        sigset_t after{};
        sigset_t pending{};
        ::pthread_sigmask(SIG_BLOCK, nullptr, &after);
        ::sigpending(&pending);
        struct sigaction action {};
        ::sigaction(SIGPIPE, nullptr, &action);
        if (sigismember(&before, SIGPIPE) != sigismember(&after, SIGPIPE) || sigismember(&pending, SIGPIPE) != 0 ||
            action.sa_handler != SIG_DFL || ::write(reached.writing.get(), "x", 1) != 1)
            ::_exit(1);
        ::raise(SIGPIPE);
    });
    EXPECT_EQ(readAvailable(reached.reading), "x");
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGPIPE);
}

TEST(ALogInAFile, CountsWhatGoesBeyondTheLimitOfItsSize) {
    const TestSupport::TemporaryDirectory folder;
    const FileDescriptor file(::open(folder.write("log", "").c_str(), O_RDWR | O_APPEND | O_CLOEXEC));
    const std::string rest(500, 'x');
    const int status = statusOfAProcess(file.get(), [&] {
        rlimit limit{10'000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        for (int number = 0; number < 1000; ++number)
            Log::write("line " + std::to_string(number) + " " + rest);
        limit.rlim_cur = RLIM_INFINITY;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        Log::write("line 1000 " + rest);
    });
    EXPECT_EQ(status, 0);
    expectWholeLines(folder.read("log"), 500, 1001);
}

TEST(ALogInAFile, GoesWhereOthersHaveWrittenMeanwhile) {
    const TestSupport::TemporaryDirectory folder;
    const FileDescriptor file(::open(folder.write("log", "").c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_EQ(statusOfAProcess(file.get(),
                               [&] {
                                   Log::write("one");
                                   if (::write(file.get(), "other\n", 6) != 6)
                                       ::_exit(1);
                                   Log::write("two");
                               }),
              0);
    EXPECT_TRUE(TestSupport::Pattern(".*\\] one\nother\n.*\\] two\n").matches(folder.read("log")));
}

} // namespace
