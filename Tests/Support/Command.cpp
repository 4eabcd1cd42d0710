#include "Support/Command.h"

#include "Platform/Loop/RunLoop.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>

namespace TestSupport {

namespace {

/// One stream of a command: what it wrote so far, until it is closed.
class Stream {
public:
    Stream() {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    ~Stream() {
        ::close(ends_[0]);
        closeWritingEnd();
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int writingEnd() const { return ends_[1]; }
    void follow() {
        closeWritingEnd();
        watch_ = Platform::RunLoop::main().watch(ends_[0], EPOLLIN, [this](std::uint32_t) { read(); });
    }
    bool isOpen() const { return watch_ != nullptr; }
    const std::string& text() const { return text_; }

private:
    void closeWritingEnd() {
        if (ends_[1] >= 0)
            ::close(ends_[1]);
        ends_[1] = -1;
    }
    void read() {
        std::array<char, 4096> piece{};
        const auto count = ::read(ends_[0], piece.data(), piece.size());
        if (count > 0)
            text_.append(piece.data(), static_cast<std::size_t>(count));
        else if (count == 0)
            watch_.reset();
    }

    std::array<int, 2> ends_{-1, -1};
    std::string text_;
    std::unique_ptr<Platform::DescriptorWatch> watch_;
};

[[noreturn]] void becomeCommand(const std::vector<std::string>& arguments, const Stream& output, const Stream& errors) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<char*> pointers;
    for (const auto& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output.writingEnd(), STDOUT_FILENO);
    ::dup2(errors.writingEnd(), STDERR_FILENO);
    ::execvp(pointers.front(), pointers.data());
    ::_exit(127);
}

} // namespace

CommandResult runCommand(const std::vector<std::string>& arguments) {
    Stream output;
    Stream errors;
    const pid_t process = ::fork();
    if (process < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (process == 0)
        becomeCommand(arguments, output, errors);
    output.follow();
    errors.follow();
    const bool ended = Platform::RunLoop::main().runUntil([&] { return !output.isOpen() && !errors.isOpen(); },
                                                          std::chrono::seconds(60));
    if (!ended)
        ::kill(process, SIGKILL);
    int status = 0;
    ::waitpid(process, &status, 0);
    CommandResult result{-1, output.text(), errors.text()};
    if (ended)
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace TestSupport
