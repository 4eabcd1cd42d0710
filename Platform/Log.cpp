#include "Platform/Log.h"

#include "Platform/ErrorLines.h"
#include "Platform/Journal.h"
#include "Platform/Printable.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

namespace Platform::Log {

namespace {

constexpr std::size_t maximumEntry = 64 << 10;

bool isTrail(char character) {
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
}

/// How much of an entry is written: all of it, or what fits without its last character being cut.
std::size_t lengthToWrite(std::string_view entry) {
    if (entry.size() <= maximumEntry)
        return entry.size();
    constexpr std::size_t longestTrail = 3;
    for (std::size_t length = maximumEntry; length + longestTrail >= maximumEntry; --length) {
        if (!isTrail(entry[length]))
            return length;
    }
    return maximumEntry;
}

/// The lines of an entry as they are written.
std::string linesOf(std::string_view entry) {
    const std::string_view written = entry.substr(0, lengthToWrite(entry));
    std::string result = printableLines(written);
    if (entry.size() > written.size())
        result += " ... (" + std::to_string(entry.size() - written.size()) + " more bytes)";
    return result;
}

std::string prefix() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 64> time{};
    const std::size_t length = std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::string result(time.data(), length);
    const std::string fraction = std::to_string(milliseconds);
    result += '.' + std::string(3 - fraction.size(), '0') + fraction;
    result += ' ';
    result += program_invocation_short_name;
    return result + '[' + std::to_string(::getpid()) + "] ";
}

/// An entry for standard error: no line of it but the first begins at the first column.
std::string indentedLine(const std::string& lines) {
    std::string result = prefix();
    for (const char character : lines)
        result.append(1, character).append(character == '\n' ? "\t" : "");
    return result + '\n';
}

/// The journal, or standard error. Entries that neither takes are dropped and counted; the count is written with the
/// next entry.
class SystemLog {
public:
    void write(const std::string& lines, Priority priority) {
        const std::lock_guard guard(lock_);
        if (deliver(lines, priority))
            lost_ = 0;
        else
            ++lost_;
    }

private:
    bool deliver(const std::string& lines, Priority priority) {
        const std::string count =
            lost_ > 0 ? std::to_string(lost_) + " log entries could not be written" : std::string();
        if (Journal::isStandardError()) {
            int error = lost_ > 0 ? Journal::send(count, static_cast<int>(Priority::Warning)) : 0;
            if (error == 0) {
                lost_ = 0;
                error = Journal::send(lines, static_cast<int>(priority));
            }
            if (error == 0 || error == EAGAIN)
                return error == 0;
        }
        // In one piece: the shorter line alone may find room where the entry does not.
        return errorLines_.write((lost_ > 0 ? indentedLine(count) : std::string()) + indentedLine(lines));
    }

    std::mutex lock_;
    ErrorLines errorLines_;
    std::uint64_t lost_ = 0;
};

SystemLog systemLog;

std::mutex sinkLock;
std::shared_ptr<const Sink> theSink;

std::shared_ptr<const Sink> sink() {
    const std::lock_guard guard(sinkLock);
    return theSink;
}

} // namespace

void write(std::string_view entry, Priority priority) {
    if (const auto taker = sink())
        return (*taker)(entry, priority);
    systemLog.write(linesOf(entry), priority);
}

std::string lineOf(std::string_view entry) {
    return indentedLine(linesOf(entry));
}

void setSink(Sink sink) {
    const std::lock_guard guard(sinkLock);
    theSink = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
}

} // namespace Platform::Log
