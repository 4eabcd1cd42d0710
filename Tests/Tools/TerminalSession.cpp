#include "TerminalSession.h"

#include "RunningTool.h"
#include "Support/Polling.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace ToolTest {

namespace {

void requireResult(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

TerminalSession::TerminalSession(const std::vector<std::string>& arguments) {
    int ours = -1;
    int theirs = -1;
    const struct winsize size { 24, 200, 0, 0 };
    requireResult(::openpty(&ours, &theirs, nullptr, nullptr, &size), "openpty");
    terminal_.reset(ours);
    line_.reset(theirs);
    for (const int end : {ours, theirs})
        requireResult(::fcntl(end, F_SETFD, FD_CLOEXEC), "fcntl");
    process_ = startTool(arguments, [&] { ::login_tty(::dup(theirs)); });
    watch_ = Platform::RunLoop::main().watch(terminal_.get(), EPOLLIN, [this](std::uint32_t) {
        std::array<char, 4096> piece{};
        const auto count = ::read(terminal_.get(), piece.data(), piece.size());
        if (count > 0)
            screen_.append(piece.data(), static_cast<std::size_t>(count));
        else
            watch_.reset();
    });
}

TerminalSession::~TerminalSession() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
}

bool TerminalSession::waitFor(std::string_view text, int times) {
    return Platform::RunLoop::main().runUntil([&] {
        int count = 0;
        for (auto at = screen_.find(text); at != std::string::npos; at = screen_.find(text, at + text.size()))
            ++count;
        return count >= times;
    });
}

void TerminalSession::type(std::string_view keys) const {
    if (::write(terminal_.get(), keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
        throw std::system_error(errno, std::generic_category(), "write");
}

bool TerminalSession::echoes() const {
    termios settings{};
    requireResult(::tcgetattr(line_.get(), &settings), "tcgetattr");
    return (settings.c_lflag & static_cast<tcflag_t>(ECHO)) != 0;
}

void TerminalSession::signal(int number) const {
    ::kill(process_, number);
}

int TerminalSession::wait() {
    int status = 0;
    if (!TestSupport::pollUntil([&] { return ::waitpid(process_, &status, WNOHANG) == process_; }))
        return -1;
    process_ = -1;
    // What it wrote at its end is there by now.
    Platform::RunLoop::main().runOnce({});
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace ToolTest
