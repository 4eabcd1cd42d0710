#include "WebService/Common/Log.h"

#include "WebService/Common/LogStream.h"
#include "WebService/Common/WireName.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace webservice {

namespace {

/// The longest line, its time and its end included.
constexpr std::size_t maxLineLength = 4096;

} // namespace

void keepStandardStreamsOpen() {
    // open(2) takes the lowest number that is free.
    int lowest = ::open("/dev/null", O_RDWR);
    while (lowest >= 0 && lowest <= STDERR_FILENO)
        lowest = ::open("/dev/null", O_RDWR);
    ::close(lowest);
}

std::string printable(std::string_view text) {
    const bool isText = isUtf8(text);
    std::string out;
    const auto escape = [&out](char c) {
        std::array<char, 5> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned char>(c));
        out += escaped.data();
    };
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t escaped = byte < 0x20 || byte == 0x7f || (byte >= 0x80 && !isText) ? 1 : 0;
        if (isText && byte == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0)
            escaped = 2;
        else if (isText && (text.starts_with("\u2028") || text.starts_with("\u2029")))
            escaped = 3;
        std::ranges::for_each(text.substr(0, escaped), escape);
        if (escaped == 0)
            out += text.front();
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

std::string logEntry(std::string_view text) {
    std::string line = timestamp() + ' ' + printable(text.substr(0, maxLineLength));
    if (line.size() >= maxLineLength) {
        line.resize(maxLineLength - 4);
        line += "...";
    }
    return line + '\n';
}

void logLine(std::string_view text) {
    static LogStream stream;
    stream.add(logEntry(text));
}

} // namespace webservice
