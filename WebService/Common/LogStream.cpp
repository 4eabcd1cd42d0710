#include "WebService/Common/LogStream.h"

#include "WebService/Common/Log.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace webservice {

LogStream::LogStream() {
    struct stat status {};
    ::fstat(STDERR_FILENO, &status);
    isSocket_ = S_ISSOCK(status.st_mode);
    mayBeFull_ = S_ISFIFO(status.st_mode) || ::isatty(STDERR_FILENO) == 1;
    if (mayBeFull_)
        own_ = Descriptor(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

void LogStream::add(const std::string& line) {
    std::string lines = line;
    if (missing_ > 0)
        lines.insert(0, timestamp() + ' ' + std::to_string(missing_) + " log entries could not be written\n");
    missing_ = put(lines) ? 0 : missing_ + 1;
}

/// Whether the beginning of the text was written; its rest is then written before any other text.
bool LogStream::put(const std::string& text) {
    if (!writeRest())
        return false;
    rest_ = text;
    writeRest();
    if (rest_.size() < text.size())
        return true;
    rest_.clear();
    return false;
}

bool LogStream::writeRest() {
    while (!rest_.empty()) {
        const auto written = writeSome();
        if (written <= 0)
            return false;
        rest_.erase(0, static_cast<std::size_t>(written));
    }
    return true;
}

ssize_t LogStream::writeSome() const {
    if (isSocket_)
        return ::send(STDERR_FILENO, rest_.data(), rest_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (!mayBeFull_)
        return ::write(STDERR_FILENO, rest_.data(), rest_.size());
    if (own_)
        return ::write(own_.get(), rest_.data(), rest_.size());
    // The stream of another user cannot be opened. A pipe that poll(2) finds writable takes PIPE_BUF bytes without
    // blocking (pipe(7)).
    pollfd output{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    return ::poll(&output, 1, 0) == 1
               ? ::write(STDERR_FILENO, rest_.data(), std::min<std::size_t>(rest_.size(), PIPE_BUF))
               : -1;
}

} // namespace webservice
