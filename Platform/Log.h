#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace Platform::Log {

/// The severity of an entry; the numbers are those of syslog(3).
enum class Priority : int {
    /// Something was not done.
    Error = 3,
    /// Something was not done and is tried again, or was done otherwise than asked.
    Warning = 4,
    Info = 6,
    /// What an idle process repeats.
    Debug = 7,
};

/// Writes one entry to the system log: to the journal with its priority where the process's standard error is the
/// journal (systemd.exec(5), JOURNAL_STREAM), else to standard error, whatever the priority, with time, program name
/// and process id in front and a tab in front of every further line. Control characters other than line feed and tab,
/// the separators U+2028 and U+2029, and bytes that are not UTF-8, are written as \xNN; what goes beyond 64 KiB is left
/// out, and marked. Never blocks and raises no signal: an entry that cannot be written at once is dropped, and the next
/// one that is written says how many were. May be called from any thread.
void write(std::string_view entry, Priority priority = Priority::Info);

/// An entry as `write` writes it to standard error, a line feed at its end.
std::string lineOf(std::string_view entry);

/// Receives every entry in place of the system log; an empty function restores the system log. For tests, and for
/// programs that keep a log of their own.
using Sink = std::function<void(std::string_view entry, Priority priority)>;
void setSink(Sink sink);
/// As above, for a sink that ignores the priority.
template <std::invocable<std::string_view> Taker>
void setSink(Taker taker) {
    setSink(Sink([taker = std::move(taker)](std::string_view entry, Priority) { taker(entry); }));
}

} // namespace Platform::Log
