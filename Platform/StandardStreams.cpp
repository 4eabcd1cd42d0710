#include "Platform/StandardStreams.h"

#include "Platform/Files/Posix.h"
#include "Platform/Loop/Signals.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace Platform::StandardStreams {

namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10;

std::optional<Error> writeAll(int descriptor, const char* name, std::string_view bytes) {
    const BlockedSignals blocked{SIGPIPE, SIGXFSZ};
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return Posix::error(name);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return std::nullopt;
}

} // namespace

void keepOpen() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // A new descriptor has the lowest number that is free (open(2)), which is this one.
        if (::fcntl(stream, F_GETFD) < 0 && errno == EBADF)
            ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open): programs that are started inherit it.
    }
}

bool inputIsTerminal() {
    return ::isatty(STDIN_FILENO) == 1;
}

bool outputIsTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

bool errorIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

std::size_t errorColumns() {
    struct winsize size {};
    constexpr std::size_t usual = 80;
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

std::optional<Error> writeOutput(std::string_view bytes) {
    return writeAll(STDOUT_FILENO, "standard output", bytes);
}

void writeError(std::string_view bytes) {
    writeAll(STDERR_FILENO, "standard error", bytes);
}

std::variant<std::string, Error> readInput(std::size_t limit) {
    std::string input;
    std::array<char, pieceSize> piece{};
    while (true) {
        const auto count = ::read(STDIN_FILENO, piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return Posix::error("standard input");
        if (count == 0)
            return input;
        input.append(piece.data(), static_cast<std::size_t>(count));
        if (input.size() > limit)
            return Posix::error("standard input", EFBIG);
    }
}

} // namespace Platform::StandardStreams
