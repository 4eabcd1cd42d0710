#include "WebService/Log.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace webservice {

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            out += c;
            continue;
        }
        std::array<char, 5> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned>(byte));
        out += escaped.data();
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
    // A pipe that can be written to takes this much at once (pipe(7), PIPE_BUF).
    constexpr std::size_t longest = 4096;
    std::string line = timestamp() + ' ' + printable(text.substr(0, longest));
    if (line.size() >= longest) {
        line.resize(longest - 4);
        line += "...";
    }
    line += '\n';
    pollfd output{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    if (::poll(&output, 1, 0) == 1) {
        // A log that cannot be written has nowhere to be reported.
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
    }
}

} // namespace webservice
