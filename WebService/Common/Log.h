#pragma once

#include <string>
#include <string_view>

namespace webservice {

/// The text with its control characters (C0, DEL, C1) and line separators written as \xNN, so that it is one line and
/// moves no cursor. Names in UTF-8 stay readable; of a text that is not UTF-8 every byte above 0x7f is written so.
std::string printable(std::string_view text);

/// The present time in UTC: 2024-03-01T09:30:00.123Z.
std::string timestamp();

/// Opens /dev/null for each standard stream that is closed, so that no file or connection gets its number and with it
/// what is written to the stream. To be called first.
void keepStandardStreamsOpen();

/// The text as an entry of the log: one line with the time in front and a newline at its end. Control characters are
/// escaped, and a very long text is cut.
std::string logEntry(std::string_view text);

/// Writes the text as an entry to standard error as it was at the first call, through a LogStream: it never blocks. On
/// one thread only.
void logLine(std::string_view text);

} // namespace webservice
