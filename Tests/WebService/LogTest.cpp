// The development web service's log: the form of a line, and lines that cannot be written.

#include "WebService/Common/Log.h"

#include "Support/HttpClient.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"
#include "WebService/Common/LogStream.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iterator>
#include <regex>
#include <sstream>

namespace webservice::test {

namespace {

using namespace std::string_literals;

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
    }
    /// What can be read at present.
    std::string available() const {
        std::string text;
        std::array<char, 4096> part{};
        for (pollfd input{reading.get(), POLLIN, 0}; ::poll(&input, 1, 0) == 1;) {
            const auto length = ::read(reading.get(), part.data(), part.size());
            if (length <= 0)
                break;
            text.append(part.data(), static_cast<std::size_t>(length));
        }
        return text;
    }
    Descriptor reading;
    Descriptor writing;
};

/// Starts the work in a process of its own with that standard error, which ends after ten seconds.
pid_t startedProcess(int errors, const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(10);
        ::dup2(errors, STDERR_FILENO);
        work();
        ::_exit(0);
    }
    return child;
}

int waitStatus(pid_t child) {
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

} // namespace

TEST(ALogLine, HasControlCharactersAndSeparatorsAsNumbers) {
    EXPECT_EQ(printable("a\0b\t\r\n\x1b[31m\x7f"s), "a\\x00b\\x09\\x0d\\x0a\\x1b[31m\\x7f");
    EXPECT_EQ(printable("\u0080\u0085\u009b31m\u009f\u00a0"), "\\xc2\\x80\\xc2\\x85\\xc2\\x9b31m\\xc2\\x9f\u00a0");
    EXPECT_EQ(printable("\u2027\u2028\u2029\u202a"), "\u2027\\xe2\\x80\\xa8\\xe2\\x80\\xa9\u202a");
    EXPECT_EQ(printable("Grüße.txt"), "Grüße.txt");
    EXPECT_EQ(printable("é\x9b"), "\\xc3\\xa9\\x9b");
}

TEST(ALogThatNobodyReads, BlocksNothingAndReportsHowManyLinesAreMissing) {
    Pipe log;
    Pipe full;
    Pipe read;
    char mark = 'x';
    const pid_t child = startedProcess(log.writing.get(), [&] {
        LogStream stream;
        for (int number = 0; number < 1000; ++number)
            stream.add(logEntry("line " + std::to_string(number) + ' ' + std::string(500, 'x')));
        if (::write(full.writing.get(), &mark, 1) != 1 || ::read(read.reading.get(), &mark, 1) != 1)
            ::_exit(1);
        stream.add(logEntry("line 1000 " + std::string(500, 'x')));
    });
    full.writing.close();
    EXPECT_EQ(::read(full.reading.get(), &mark, 1), 1) << "the log holds its process up";
    std::string text = log.available();
    EXPECT_EQ(::write(read.writing.get(), &mark, 1), 1);
    EXPECT_EQ(waitStatus(child), 0);
    text += log.available();
    EXPECT_EQ(::fcntl(log.writing.get(), F_GETFL) & O_NONBLOCK, 0) << "other processes have the stream too";

    const std::regex form("[-0-9]+T[:.0-9]+Z (?:line ([0-9]+) x{500}|([0-9]+) log entries could not be written)");
    std::istringstream lines(text);
    int next = 0;
    int missing = 0;
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        if (match[2].matched) {
            missing += std::stoi(match[2]);
            next += std::stoi(match[2]);
        } else {
            EXPECT_EQ(std::stoi(match[1]), next++);
        }
    }
    EXPECT_EQ(next, 1001);
    EXPECT_GT(missing, 0);
    EXPECT_LT(missing, 1000);
}

TEST(ALogThatNobodyReads, WritesNoLineInPartToAFileThatIsFull) {
    const TemporaryFolder folder;
    folder.write("log", "");
    const Descriptor file(::open(folder.path("log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    const int status = waitStatus(startedProcess(file.get(), [] {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{1200, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        LogStream stream;
        for (int number = 0; number < 10; ++number)
            stream.add(logEntry("line " + std::string(500, 'x')));
        limit.rlim_cur = RLIM_INFINITY;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        stream.add(logEntry("last"));
    }));
    EXPECT_EQ(status, 0);
    const std::regex form("(.*Z line x{500}\n){3}.*Z 7 log entries could not be written\n.*Z last\n");
    EXPECT_TRUE(std::regex_match(contentOf(folder.path("log")), form)) << contentOf(folder.path("log"));
}

TEST(ALogWhoseReaderHasDisconnected, EndsNothing) {
    const TemporaryFolder folder;
    ServiceProcess service(folder.path("data").string(), 0, ServiceProcess::Errors::UnreadPipe);
    service.closeErrors();
    HttpClient client(service.port());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(client.exchange("GET", "/status", "").status, 200);
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
}

TEST(ALogWithoutStandardError, GoesIntoNoFile) {
    const pid_t child = startedProcess(STDERR_FILENO, [] {
        ::close(STDIN_FILENO);
        ::close(STDERR_FILENO);
        keepStandardStreamsOpen();
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::_exit(next > STDERR_FILENO && ::fcntl(STDIN_FILENO, F_GETFD) == 0 ? 0 : 1);
    });
    EXPECT_EQ(waitStatus(child), 0);
}

TEST(ALogStream, HasADescriptionOfItsOwnForAPipeAndNotForAFile) {
    const TemporaryFolder folder;
    folder.write("log", "");
    const Descriptor file(::open(folder.path("log").c_str(), O_WRONLY | O_CLOEXEC));
    Pipe pipe;
    const auto openFiles = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return static_cast<int>(std::distance(begin(entries), end(entries)));
    };
    const auto opened = [&] {
        const int before = openFiles();
        const LogStream stream;
        ::_exit(10 + openFiles() - before);
    };
    EXPECT_EQ(WEXITSTATUS(waitStatus(startedProcess(pipe.writing.get(), opened))), 11);
    EXPECT_EQ(WEXITSTATUS(waitStatus(startedProcess(file.get(), opened))), 10);
}

} // namespace webservice::test
