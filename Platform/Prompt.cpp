#include "Platform/Prompt.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/StandardStreams.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace Platform::Prompt {

namespace {

/// Keeps the signals that end or stop the process pending, to be read from a descriptor (signalfd(2)). Those that are
/// blocked already are left to whoever blocks them.
class HeldSignals {
public:
    HeldSignals() {
        sigset_t held{};
        sigemptyset(&held);
        pthread_sigmask(SIG_BLOCK, nullptr, &before_);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP}) {
            if (sigismember(&before_, signal) == 0)
                sigaddset(&held, signal);
        }
        pthread_sigmask(SIG_BLOCK, &held, nullptr);
        descriptor_.reset(::signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

    int descriptor() const { return descriptor_.get(); }
    /// The number of one that has come; 0 where none has.
    int next() const {
        signalfd_siginfo info{};
        return ::read(descriptor_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)
                   ? static_cast<int>(info.ssi_signo)
                   : 0;
    }

private:
    sigset_t before_{};
    FileDescriptor descriptor_;
};

/// Has the terminal at standard input show what is typed, or not (termios(3)).
class TypingMode {
public:
    explicit TypingMode(Echo echo) : echo_(echo), isThere_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
        termios mode = before_;
        if (echo == Echo::Off)
            mode.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        // What was typed before the question came is part of the answer.
        isThere_ = isThere_ && ::tcsetattr(STDIN_FILENO, TCSANOW, &mode) == 0;
    }
    TypingMode(const TypingMode&) = delete;
    TypingMode& operator=(const TypingMode&) = delete;
    ~TypingMode() {
        if (!isThere_)
            return;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        // The line's end was not shown either.
        if (echo_ == Echo::Off)
            StandardStreams::writeError("\n");
    }

    bool isThere() const { return isThere_; }

private:
    Echo echo_;
    termios before_{};
    /// Whether there is a terminal.
    bool isThere_;
};

struct Answer {
    std::optional<Secret> line;
    /// The signal that came in the place of a line.
    int signal = 0;
};

/// Reads a line. What follows it stays in the terminal, which gives one line at most (termios(3), "Canonical mode").
Answer readLine(const HeldSignals& signals) {
    constexpr std::size_t longestLine = 4096;
    Secret line;
    // No shorter copies stay behind while it grows.
    line.text().reserve(longestLine);
    Secret piece(std::string(longestLine, '\0'));
    while (true) {
        std::array<pollfd, 2> waiting{pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{signals.descriptor(), POLLIN, 0}};
        ::poll(waiting.data(), waiting.size(), -1);
        if (const int signal = signals.next(); signal != 0)
            return {std::nullopt, signal};
        if (waiting[0].revents == 0)
            continue;
        const auto count = ::read(STDIN_FILENO, piece.text().data(), piece.text().size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return {};
        line.text().append(piece.text(), 0, static_cast<std::size_t>(count));
        if (line.text().back() != '\n')
            continue;
        line.text().pop_back();
        return {std::move(line), 0};
    }
}

Answer askOnce(const std::string& question, Echo echo) {
    const HeldSignals signals;
    const TypingMode mode(echo);
    if (!mode.isThere())
        return {};
    StandardStreams::writeError(question);
    return readLine(signals);
}

} // namespace

bool isPossible() {
    return StandardStreams::inputIsTerminal() && StandardStreams::errorIsTerminal();
}

std::optional<Secret> ask(const std::string& question, Echo echo) {
    while (true) {
        auto answer = askOnce(question, echo);
        if (answer.signal == 0)
            return std::move(answer.line);
        ::raise(answer.signal);
    }
}

} // namespace Platform::Prompt
