#include "RunningTool.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace ToolTest {

namespace {

using Platform::FileDescriptor;

void checked(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

struct Ends {
    FileDescriptor ours;
    FileDescriptor theirs;
};

Ends pipeEnds() {
    std::array<int, 2> ends{};
    checked(::pipe2(ends.data(), O_CLOEXEC), "pipe2");
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends terminalEnds(unsigned short rows = 24) {
    int ours = -1;
    int theirs = -1;
    const struct winsize size { rows, 60, 0, 0 };
    checked(::openpty(&ours, &theirs, nullptr, nullptr, &size), "openpty");
    checked(::fcntl(ours, F_SETFD, FD_CLOEXEC), "fcntl");
    checked(::fcntl(theirs, F_SETFD, FD_CLOEXEC), "fcntl");
    return {FileDescriptor(ours), FileDescriptor(theirs)};
}

} // namespace

pid_t startTool(const std::vector<std::string>& arguments, const std::function<void()>& setStreams) {
    std::string program = QUENMARK_PROGRAM;
    std::vector<std::string> copies = arguments;
    std::vector<char*> argv{program.data()};
    for (auto& copy : copies)
        argv.push_back(copy.data());
    argv.push_back(nullptr);
    const pid_t process = ::fork();
    checked(process, "fork");
    if (process == 0) {
        setStreams();
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    return process;
}

RunningTool::RunningTool(const std::vector<std::string>& arguments, Errors errors, Output outputKind) {
    auto output = outputKind == Output::Piped ? pipeEnds() : terminalEnds(outputKind == Output::OnTerminal ? 24 : 10);
    auto error = errors == Errors::Piped ? pipeEnds() : terminalEnds();
    process_ = startTool(arguments, [&] {
        ::dup2(output.theirs.get(), STDOUT_FILENO);
        ::dup2(error.theirs.get(), STDERR_FILENO);
    });
    output_.descriptor = std::move(output.ours);
    errors_.descriptor = std::move(error.ours);
    follow(output_);
    follow(errors_);
}

RunningTool::~RunningTool() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
}

void RunningTool::follow(Stream& stream) {
    stream.watch = Platform::RunLoop::main().watch(stream.descriptor.get(), EPOLLIN, [&stream](std::uint32_t) {
        std::array<char, 4096> piece{};
        const auto count = ::read(stream.descriptor.get(), piece.data(), piece.size());
        if (count > 0)
            stream.text.append(piece.data(), static_cast<std::size_t>(count));
        else
            stream.watch.reset();
    });
}

bool RunningTool::waitForOutput(std::string_view text) {
    return Platform::RunLoop::main().runUntil([&] { return output_.text.find(text) != std::string::npos; });
}

bool RunningTool::waitForErrors(std::string_view text) {
    return Platform::RunLoop::main().runUntil([&] { return errors_.text.find(text) != std::string::npos; });
}

void RunningTool::signal(int number) const {
    ::kill(process_, number);
}

int RunningTool::wait() {
    Platform::RunLoop::main().runUntil([&] { return !output_.watch && !errors_.watch; });
    int status = 0;
    checked(::waitpid(process_, &status, 0), "waitpid");
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace ToolTest
