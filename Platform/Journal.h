#pragma once

#include <string_view>

/// The system's journal, by its native protocol (https://systemd.io/JOURNAL_NATIVE_PROTOCOL/).
namespace Platform::Journal {

/// Whether standard error is the journal's stream, as its device and inode tell (systemd.exec(5), JOURNAL_STREAM).
bool isStandardError();

/// Sends an entry, which may have several lines, with a priority of syslog(3). Never blocks, and raises no signal. 0,
/// or the number of an error (errno(3)): EAGAIN where the journal's socket is full.
int send(std::string_view message, int priority);

} // namespace Platform::Journal
