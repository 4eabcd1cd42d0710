#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Platform::Log {

/// Writes one entry to the system log: to the journal where the process's standard error is the journal
/// (systemd.exec(5), JOURNAL_STREAM), else to standard error with time, program name and process id in front. Control
/// characters other than line feed and tab, and bytes that are not UTF-8, are written as \xNN; what goes beyond 64 KiB
/// is left out, and said so. Never waits and raises no signal: an entry that the system does not take at once is lost,
/// and the next one that it takes says how many are. May be called from any thread.
void write(std::string_view entry);

/// An entry as `write` writes it to standard error, a line feed at its end.
std::string lineOf(std::string_view entry);

/// Takes every entry instead of the system log; an empty function gives the system log back. For tests, and for
/// programs that keep a log of their own.
using Sink = std::function<void(std::string_view)>;
void setSink(Sink sink);

} // namespace Platform::Log
