#include "Platform/ErrorLines.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/Signals.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace Platform {

namespace {

/// Writes to a pipe or terminal what it takes at once. O_NONBLOCK is a flag of the open file description, which other
/// processes have too (open(2)): it is set on a description of this call's own.
ssize_t writeToOwnDescription(std::string_view bytes) {
    const FileDescriptor own(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (own)
        return ::write(own.get(), bytes.data(), bytes.size());
    // Not every process may open its own standard error, for example where it belongs to another user. A pipe that
    // poll(2) finds writable takes PIPE_BUF bytes without waiting (pipe(7)).
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1) {
        errno = EAGAIN;
        return -1;
    }
    return ::write(STDERR_FILENO, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
}

ssize_t writeSome(const struct stat& status, std::string_view bytes) {
    if (S_ISSOCK(status.st_mode))
        return ::send(STDERR_FILENO, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (S_ISFIFO(status.st_mode) || ::isatty(STDERR_FILENO) == 1)
        return writeToOwnDescription(bytes);
    return ::write(STDERR_FILENO, bytes.data(), bytes.size());
}

} // namespace

bool ErrorLines::write(std::string lines) {
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0)
        return false;
    if (status.st_dev != device_ || status.st_ino != inode_) {
        // The rest of what was begun belongs to the stream in which it was.
        begun_.clear();
        done_ = 0;
        device_ = status.st_dev;
        inode_ = status.st_ino;
    }
    // A terminal that another job has takes the lines where SIGTTOU is blocked (termios(3), TOSTOP).
    const BlockedSignals blocked{SIGPIPE, SIGXFSZ, SIGTTOU};
    if (!finish(status))
        return false;
    begun_ = std::move(lines);
    done_ = 0;
    if (finish(status) || done_ > 0)
        return true;
    begun_.clear();
    return false;
}

bool ErrorLines::finish(const struct stat& status) {
    while (done_ < begun_.size()) {
        const auto written = writeSome(status, std::string_view(begun_).substr(done_));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done_ += static_cast<std::size_t>(written);
    }
    begun_.clear();
    done_ = 0;
    return true;
}

} // namespace Platform
