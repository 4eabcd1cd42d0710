#include "Support/ServiceProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace webservice::test {

namespace {

void waitReadable(int fd) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    if (::poll(&waiting, 1, 60'000) != 1)
        throw std::runtime_error("nothing came from the program for a minute");
}

} // namespace

Program::Program(const std::vector<std::string>& arguments, Errors errors)
    /// Standard error goes to memory, where any amount of it fits without being read meanwhile.
    : errors_(::memfd_create("errors", MFD_CLOEXEC)) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
        throwErrno("cannot make a pipe");
    output_ = Descriptor(pipe[0]);
    const Descriptor writing(pipe[1]);
    if (errors == Errors::UnreadPipe) {
        if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
            throwErrno("cannot make a pipe");
        unread_ = Descriptor(pipe[0]);
        errors_ = Descriptor(pipe[1]);
    }
    std::string program = WEBSERVICE_PROGRAM;
    std::vector<std::string> texts = arguments;
    std::vector<char*> argv = {program.data()};
    for (std::string& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, writing.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors_.get(), STDERR_FILENO);
    const int error = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("cannot start the program");
    process_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
}

Program::~Program() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

std::string Program::line() {
    std::string line;
    while (!line.ends_with('\n')) {
        waitReadable(output_.get());
        char next = 0;
        if (::read(output_.get(), &next, 1) != 1)
            throw std::runtime_error("the program ended: " + errors());
        line += next;
    }
    line.pop_back();
    return line;
}

int Program::exitStatus() {
    waitReadable(process_.get());
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Program::signal(int number) const {
    ::kill(pid_, number);
}

void Program::limitOpenFiles(std::size_t limit) const {
    const rlimit files{.rlim_cur = limit, .rlim_max = limit};
    if (::prlimit(pid_, RLIMIT_NOFILE, &files, nullptr) != 0)
        throwErrno("cannot limit the program's open files");
}

/// The fields 14 and 15 of /proc/PID/stat, in ticks (proc(5)).
double Program::processorTime() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    std::string skipped;
    for (int field = 1; field < 14; ++field)
        file >> skipped;
    long user = 0;
    long system = 0;
    file >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::string Program::restOfOutput() {
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t length = 1; length > 0;) {
        length = ::read(output_.get(), part.data(), part.size());
        text.append(part.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    return text;
}

/// The program writes at the offset that it shares with this descriptor, which therefore must not be moved.
std::string Program::errors() const {
    std::string text;
    std::array<char, 4096> part{};
    for (ssize_t length = 1; length > 0;) {
        length = ::pread(errors_.get(), part.data(), part.size(), static_cast<off_t>(text.size()));
        text.append(part.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    return text;
}

namespace {

std::vector<std::string> argumentsOf(const std::string& data, std::uint16_t port,
                                     const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"--listen", "127.0.0.1:" + std::to_string(port), "--data", data};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

} // namespace

ServiceProcess::ServiceProcess(const std::string& data, std::uint16_t port, Errors errors)
    : ServiceProcess(data, port, {}, errors) {}

ServiceProcess::ServiceProcess(const std::string& data, std::uint16_t port, const std::vector<std::string>& options,
                               Errors errors)
    : Program(argumentsOf(data, port, options), errors) {
    const std::string ready = line();
    const std::string expected = "listening on 127.0.0.1:";
    if (!ready.starts_with(expected))
        throw std::runtime_error("unexpected first line: " + ready);
    port_ = static_cast<std::uint16_t>(std::stoi(ready.substr(expected.size())));
}

} // namespace webservice::test
