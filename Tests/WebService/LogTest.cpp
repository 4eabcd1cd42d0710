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
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ctime>
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

/// Starts the work in a process of its own with that standard error, which ends after a minute.
pid_t startedProcess(int errors, const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(60);
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

TEST(ALogLine, HasAtMost4096BytesWithItsTimeAndItsEnd) {
    const std::string whole = logEntry(std::string(4070, 'x'));
    EXPECT_EQ(whole.size(), 4096U);
    EXPECT_TRUE(whole.ends_with("Z " + std::string(4070, 'x') + "\n"));
    for (const std::size_t length : {4071U, 4096U, 4097U, 100'000U}) {
        const std::string cut = logEntry(std::string(length, 'x'));
        EXPECT_EQ(cut.size(), 4096U);
        EXPECT_TRUE(cut.ends_with("Z " + std::string(4067, 'x') + "...\n"));
    }
}

TEST(ALogLine, BeginsWithThePresentTimeInUtc) {
    const auto seconds = [](const std::string& text) {
        std::tm parts{};
        EXPECT_EQ(::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts), text.c_str() + 19) << text;
        return ::timegm(&parts);
    };
    const std::time_t before = std::time(nullptr);
    const std::string text = timestamp();
    EXPECT_GE(seconds(text), before - 1); // time(2) may lag behind the finer clock, and the other way round
    EXPECT_LE(seconds(text), std::time(nullptr) + 1);
    EXPECT_TRUE(std::regex_match(text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\\.[0-9]{3}Z"))) << text;
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

namespace {

/// What is in a file that takes so many bytes of ten lines of 531 bytes, and then any number.
std::string contentOfFullFile(rlim_t size) {
    const TemporaryFolder folder;
    folder.write("log", "");
    const Descriptor file(::open(folder.path("log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    EXPECT_EQ(waitStatus(startedProcess(file.get(),
                                        [size] {
                                            std::signal(SIGXFSZ, SIG_IGN);
                                            rlimit limit{size, RLIM_INFINITY};
                                            ::setrlimit(RLIMIT_FSIZE, &limit);
                                            LogStream stream;
                                            for (int number = 0; number < 10; ++number)
                                                stream.add(logEntry("line " + std::string(500, 'x')));
                                            limit.rlim_cur = RLIM_INFINITY;
                                            ::setrlimit(RLIMIT_FSIZE, &limit);
                                            stream.add(logEntry("last"));
                                            stream.add(logEntry("after it"));
                                        })),
              0);
    return contentOf(folder.path("log"));
}

} // namespace

TEST(ALogThatNobodyReads, WritesNoLineInPartToAFileThatIsFull) {
    for (const auto& [size, written] :
         {std::pair(1200, 3), std::pair(1062, 2), std::pair(1061, 2), std::pair(1063, 3)}) {
        const std::string text = contentOfFullFile(static_cast<rlim_t>(size));
        const std::regex form("(.*Z line x{500}\n){" + std::to_string(written) + "}.*Z " +
                              std::to_string(10 - written) +
                              " log entries could not be written\n.*Z last\n.*Z after it\n");
        EXPECT_TRUE(std::regex_match(text, form)) << size << text;
    }
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

namespace {

/// Writes more than a full stream takes, and then more again.
void writeMany() {
    LogStream stream;
    for (int number = 0; number < 2000; ++number)
        stream.add(logEntry("line " + std::string(500, 'x')));
}

/// The lines that were written before there was no more room, all of them whole.
int wholeLines(const std::string& text) {
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line) && !lines.eof(); ++count)
        EXPECT_TRUE(line.ends_with("Z line " + std::string(500, 'x'))) << line;
    return count;
}

} // namespace

TEST(ALogThatNobodyReads, BlocksNothingWhereItIsASocket) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    Pipe log;
    log.reading = Descriptor(ends[0]);
    log.writing = Descriptor(ends[1]);
    EXPECT_EQ(waitStatus(startedProcess(log.writing.get(), &writeMany)), 0);
    EXPECT_GT(wholeLines(log.available()), 10);
    EXPECT_EQ(::fcntl(log.writing.get(), F_GETFL) & O_NONBLOCK, 0);
    log.reading.close();
    EXPECT_EQ(waitStatus(startedProcess(log.writing.get(), &writeMany)), 0); // no SIGPIPE
}

TEST(ALogThatNobodyReads, BlocksNothingWhereItIsAPipeThatMayNotBeOpened) {
    const Pipe log;
    ASSERT_EQ(::fchmod(log.writing.get(), 0), 0);
    EXPECT_EQ(waitStatus(startedProcess(log.writing.get(),
                                        [] {
                                            // Root may open everything.
                                            if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0)
                                                ::_exit(1);
                                            writeMany();
                                        })),
              0);
    EXPECT_GT(wholeLines(log.available()), 10);
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
