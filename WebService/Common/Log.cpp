#include "WebService/Common/Log.h"

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/WireName.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace webservice {

namespace {

// Standard error as it was at the first line. A pipe or terminal may be full, and other processes may have it too, to
// which O_NONBLOCK on the common open file description would apply as well (open(2)): it has a description of its own.
class LogStream {
public:
    LogStream() {
        struct stat status {};
        ::fstat(STDERR_FILENO, &status);
        isSocket_ = S_ISSOCK(status.st_mode);
        mayBeFull_ = S_ISFIFO(status.st_mode) || ::isatty(STDERR_FILENO) == 1;
        if (mayBeFull_) {
            own_ = Descriptor(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        }
    }

    // Writes the line, or, where there is no room for it, counts it; the count goes before the next line with room.
    void add(const std::string& line) {
        std::string lines = line;
        if (missing_ > 0) {
            lines.insert(0, timestamp() + ' ' + std::to_string(missing_) + " log entries could not be written\n");
        }
        missing_ = put(lines) ? 0 : missing_ + 1;
    }

private:
    // Whether the text was begun; its rest is then written before any other text.
    bool put(const std::string& text) {
        if (!writeRest()) {
            return false;
        }
        rest_ = text;
        writeRest();
        if (rest_.size() < text.size()) {
            return true;
        }
        rest_.clear();
        return false;
    }

    bool writeRest() {
        while (!rest_.empty()) {
            const auto written = writeSome();
            if (written <= 0) {
                return false;
            }
            rest_.erase(0, static_cast<std::size_t>(written));
        }
        return true;
    }

    ssize_t writeSome() const {
        if (isSocket_) {
            return ::send(STDERR_FILENO, rest_.data(), rest_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
        if (!mayBeFull_) {
            return ::write(STDERR_FILENO, rest_.data(), rest_.size());
        }
        if (own_) {
            return ::write(own_.get(), rest_.data(), rest_.size());
        }
        // The stream of another user cannot be opened. A pipe that is writable takes this much at once (pipe(7)).
        pollfd output{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
        return ::poll(&output, 1, 0) == 1
                   ? ::write(STDERR_FILENO, rest_.data(), std::min<std::size_t>(rest_.size(), PIPE_BUF))
                   : -1;
    }

    bool isSocket_ = false;
    bool mayBeFull_ = false;
    Descriptor own_;
    std::string rest_;
    std::uint64_t missing_ = 0;
};

} // namespace

void keepStandardStreamsOpen() {
    // open(2) takes the lowest number that is free.
    int lowest = ::open("/dev/null", O_RDWR);
    while (lowest >= 0 && lowest <= STDERR_FILENO) {
        lowest = ::open("/dev/null", O_RDWR);
    }
    ::close(lowest);
}

std::string printable(std::string_view text) {
    const bool isText = isUtf8(text);
    std::string out;
    out.reserve(text.size());
    const auto escape = [&out](char c) {
        std::array<char, 5> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned char>(c));
        out += escaped.data();
    };
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t escaped = byte < 0x20 || byte == 0x7f || (byte >= 0x80 && !isText) ? 1 : 0;
        if (isText && byte == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0) {
            escaped = 2;
        } else if (isText && (text.starts_with("\u2028") || text.starts_with("\u2029"))) {
            escaped = 3;
        }
        std::ranges::for_each(text.substr(0, escaped), escape);
        if (escaped == 0) {
            out += text.front();
        }
        text.remove_prefix(std::max<std::size_t>(escaped, 1));
    }
    return out;
}

std::string timestamp() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ", static_cast<int>(milliseconds));
    return text.data();
}

void logLine(std::string_view text) {
    constexpr std::size_t longest = 4096;
    std::string line = timestamp() + ' ' + printable(text.substr(0, longest));
    if (line.size() >= longest) {
        line.resize(longest - 4);
        line += "...";
    }
    static LogStream stream;
    stream.add(line + '\n');
}

} // namespace webservice
