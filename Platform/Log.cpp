#include "Platform/Log.h"

#include <systemd/sd-journal.h>

#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

namespace Platform::Log {

namespace {

constexpr std::size_t maximumEntry = 64 << 10;

/// Whether standard error is the journal's stream, as its device and inode tell (systemd.exec(5), JOURNAL_STREAM), and
/// the journal takes entries: sd_journal_sendv(3) drops them without a word where its socket is missing.
bool standardErrorIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || ::fstat(STDERR_FILENO, &status) != 0)
        return false;
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream &&
           ::access("/run/systemd/journal/socket", W_OK) == 0;
}

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

/// Whether a control character begins at `at`: C0 but for line feed and tab, DEL, or C1, which UTF-8 writes as two
/// bytes (ECMA-48).
bool isControl(std::string_view entry, std::size_t at) {
    const auto byte = static_cast<unsigned char>(entry[at]);
    if (byte < 0x20)
        return byte != '\n' && byte != '\t';
    const bool trailIsC1 = at + 1 < entry.size() && (static_cast<unsigned char>(entry[at + 1]) & 0xE0) == 0x80;
    return byte == 0x7F || (byte == 0xC2 && trailIsC1);
}

std::string printable(std::string_view entry) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const std::string_view written = entry.substr(0, lengthToWrite(entry));
    std::string result;
    result.reserve(written.size() + 64);
    const auto escape = [&](char character) {
        const auto byte = static_cast<unsigned char>(character);
        (((result += "\\x") += digits[byte >> 4]) += digits[byte & 15]);
    };
    for (std::size_t at = 0; at < written.size(); ++at) {
        if (!isControl(written, at)) {
            result += written[at];
            continue;
        }
        escape(written[at]);
        if (written[at] == '\xC2')
            escape(written[++at]);
    }
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

void writeToStandardError(const std::string& entry) {
    std::string line = prefix() + entry + '\n';
    std::string_view rest = line;
    while (!rest.empty()) {
        const auto written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // There is no place left to report to.
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::mutex sinkLock;
std::shared_ptr<const Sink> theSink;

std::shared_ptr<const Sink> sink() {
    const std::lock_guard guard(sinkLock);
    return theSink;
}

} // namespace

void write(std::string_view entry) {
    if (const auto taker = sink())
        return (*taker)(entry);
    const std::string text = printable(entry);
    if (!standardErrorIsJournal())
        return writeToStandardError(text);
    const std::string message = "MESSAGE=" + text;
    const std::string priority = "PRIORITY=6";
    const std::array<iovec, 2> fields{
        {{const_cast<char*>(message.data()), message.size()}, {const_cast<char*>(priority.data()), priority.size()}}};
    if (::sd_journal_sendv(fields.data(), static_cast<int>(fields.size())) < 0)
        writeToStandardError(text);
}

void setSink(Sink sink) {
    const std::lock_guard guard(sinkLock);
    theSink = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
}

} // namespace Platform::Log
