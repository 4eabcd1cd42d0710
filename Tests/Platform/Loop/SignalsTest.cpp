// What watching and blocking signals leaves of a process's signals, and its streams that were closed or are terminals.

#include "Platform/Loop/Signals.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/StandardStreams.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

namespace Platform {
namespace {

bool signalIsBlocked(int signal) {
    sigset_t mask{};
    ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

bool signalIsPending(int signal) {
    sigset_t pending{};
    ::sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

void changeMask(int how, int signal) {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, signal);
    ::pthread_sigmask(how, &set, nullptr);
}

/// Takes a pending signal away.
bool takeSignal(int signal) {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, signal);
    const timespec none{};
    return ::sigtimedwait(&set, nullptr, &none) == signal;
}

std::string infoOfDescriptor(int descriptor) {
    std::ostringstream told;
    told << std::ifstream("/proc/self/fdinfo/" + std::to_string(descriptor)).rdbuf();
    return told.str();
}

int handledSignals = 0;

TEST(TheEndOfASignalWatch, LeavesTheSignalAsItWas) {
    RunLoop loop;
    handledSignals = 0;
    const auto before = std::signal(SIGUSR2, [](int) { ++handledSignals; });
    {
        const SignalWatch watch(SIGUSR2, [] {});
        EXPECT_TRUE(signalIsBlocked(SIGUSR2));
        EXPECT_FALSE(signalIsBlocked(SIGUSR1));
    }
    EXPECT_FALSE(signalIsBlocked(SIGUSR2));
    ::raise(SIGUSR2);
    EXPECT_EQ(handledSignals, 1);
    std::signal(SIGUSR2, before);
}

TEST(TheEndOfASignalWatch, LeavesASignalBlockedThatWasBlockedBefore) {
    RunLoop loop;
    changeMask(SIG_BLOCK, SIGUSR2);
    {
        const SignalWatch watch(SIGUSR2, [] {});
    }
    EXPECT_TRUE(signalIsBlocked(SIGUSR2));
    changeMask(SIG_UNBLOCK, SIGUSR2);
}

TEST(ASignalWatchsDescriptor, BlocksNobodyAndIsNoChilds) {
    RunLoop loop;
    const int next = ::dup(0);
    ::close(next);
    const SignalWatch watch(SIGUSR2, [] {});
    const auto told = infoOfDescriptor(next);
    EXPECT_NE(told.find("sigmask:\t0000000000000800"), std::string::npos) << told;
    // O_CLOEXEC, O_NONBLOCK and O_RDWR.
    EXPECT_NE(told.find("flags:\t02004002"), std::string::npos) << told;
}

TEST(ABlockedSignal, ThatACallRaisesIsDroppedAndTheErrorStays) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ::close(ends[0]);
    handledSignals = 0;
    const auto before = std::signal(SIGPIPE, [](int) { ++handledSignals; });
    {
        const BlockedSignals blocked{SIGPIPE, SIGXFSZ};
        EXPECT_TRUE(signalIsBlocked(SIGPIPE));
        EXPECT_TRUE(signalIsBlocked(SIGXFSZ));
        EXPECT_EQ(::write(ends[1], "x", 1), -1);
        EXPECT_TRUE(signalIsPending(SIGPIPE));
        errno = EPIPE;
    }
    EXPECT_EQ(errno, EPIPE);
    EXPECT_FALSE(signalIsPending(SIGPIPE));
    EXPECT_FALSE(signalIsBlocked(SIGPIPE));
    EXPECT_FALSE(signalIsBlocked(SIGXFSZ));
    EXPECT_EQ(handledSignals, 0);
    std::signal(SIGPIPE, before);
    ::close(ends[1]);
}

TEST(ABlockedSignal, ThatWasPendingBeforeStaysPending) {
    changeMask(SIG_BLOCK, SIGUSR2);
    ::raise(SIGUSR2);
    { const BlockedSignals blocked{SIGUSR2}; }
    EXPECT_TRUE(signalIsBlocked(SIGUSR2));
    EXPECT_TRUE(takeSignal(SIGUSR2));
    changeMask(SIG_UNBLOCK, SIGUSR2);
}

/// Runs `body` in a child process, and gives its exit status.
int exitStatusOf(const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body());
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool isNullDevice(int descriptor) {
    struct stat opened {};
    struct stat device {};
    return ::fstat(descriptor, &opened) == 0 && ::stat("/dev/null", &device) == 0 && opened.st_rdev == device.st_rdev &&
           S_ISCHR(opened.st_mode);
}

TEST(AStandardStream, ThatIsClosedIsReplacedByTheNullDeviceForProgramsThatAreStartedToo) {
    for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        EXPECT_EQ(exitStatusOf([&] {
                      std::array<int, 2> pipe{};
                      if (::pipe(pipe.data()) != 0)
                          return 1;
                      for (int stream = 0; stream < 3; ++stream)
                          ::dup2(pipe[1], stream);
                      ::close(closed);
                      StandardStreams::keepOpen();
                      for (int stream = 0; stream < 3; ++stream) {
                          if (isNullDevice(stream) != (stream == closed))
                              return 2;
                      }
                      if (::fcntl(closed, F_GETFD) != 0)
                          return 3;
                      return (::fcntl(closed, F_GETFL) & O_ACCMODE) == O_RDWR ? 0 : 4;
                  }),
                  0)
            << closed;
    }
}

TEST(AStandardStream, TellsWhetherItIsATerminalAndHowWide) {
    const auto isSeenAs = [](bool output, bool error, unsigned short columns, std::size_t expected) {
        return exitStatusOf([=] {
            int master = -1;
            int terminal = -1;
            const winsize size{24, columns, 0, 0};
            const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
            if (::openpty(&master, &terminal, nullptr, nullptr, &size) != 0)
                return 1;
            ::dup2(output ? terminal : null, STDOUT_FILENO);
            ::dup2(error ? terminal : null, STDERR_FILENO);
            if (StandardStreams::outputIsTerminal() != output || StandardStreams::errorIsTerminal() != error)
                return 2;
            return StandardStreams::errorColumns() == expected ? 0 : 3;
        });
    };
    EXPECT_EQ(isSeenAs(true, false, 100, 80), 0);
    EXPECT_EQ(isSeenAs(false, true, 100, 100), 0);
    EXPECT_EQ(isSeenAs(false, true, 1, 1), 0);
    EXPECT_EQ(isSeenAs(true, true, 0, 80), 0);
}

TEST(AStandardStream, ThatCannotBeReadIsAnError) {
    EXPECT_EQ(
        exitStatusOf([] {
            ::close(STDIN_FILENO);
            const auto input = StandardStreams::readInput(10);
            const auto* error = std::get_if<Error>(&input);
            return error != nullptr && *error == Error{"POSIX", EBADF, "standard input: Bad file descriptor"} ? 0 : 1;
        }),
        0);
}

TEST(StandardError, TakesWhatIsWrittenAsFarAsThatGoes) {
    EXPECT_EQ(exitStatusOf([] {
                  std::array<int, 2> pipe{};
                  if (::pipe(pipe.data()) != 0)
                      return 1;
                  ::dup2(pipe[1], STDERR_FILENO);
                  StandardStreams::writeError("some text");
                  std::array<char, 32> bytes{};
                  if (::read(pipe[0], bytes.data(), bytes.size()) != 9 || std::string(bytes.data()) != "some text")
                      return 2;
                  ::close(pipe[0]);
                  StandardStreams::writeError("more");
                  return 0;
              }),
              0);
}

} // namespace
} // namespace Platform
