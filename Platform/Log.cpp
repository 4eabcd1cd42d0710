#include "Platform/Log.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <systemd/sd-journal.h>

namespace Platform::Log {

namespace {

constexpr std::size_t maximumEntry = 64 << 10;

/// Whether standard error is the journal's stream, as its device and inode tell (systemd.exec(5), JOURNAL_STREAM).
bool standardErrorIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || ::fstat(STDERR_FILENO, &status) != 0)
        return false;
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

std::string printable(std::string_view entry) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    result.reserve(std::min(entry.size(), maximumEntry) + 64);
    for (const char character : entry.substr(0, maximumEntry)) {
        const auto byte = static_cast<unsigned char>(character);
        if ((byte < 0x20 && character != '\n' && character != '\t') || byte == 0x7F)
            (((result += "\\x") += digits[byte >> 4]) += digits[byte & 15]);
        else
            result += character;
    }
    if (entry.size() > maximumEntry)
        result += " ... (" + std::to_string(entry.size() - maximumEntry) + " more bytes)";
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
    static const bool journal = standardErrorIsJournal();
    const std::string text = printable(entry);
    if (!journal)
        return writeToStandardError(text);
    const std::string message = "MESSAGE=" + text;
    const std::string priority = "PRIORITY=6";
    const std::array<iovec, 2> fields{{{const_cast<char*>(message.data()), message.size()},
                                       {const_cast<char*>(priority.data()), priority.size()}}};
    if (::sd_journal_sendv(fields.data(), static_cast<int>(fields.size())) < 0)
        writeToStandardError(text);
}

void setSink(Sink sink) {
    const std::lock_guard guard(sinkLock);
    theSink = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
}

} // namespace Platform::Log
