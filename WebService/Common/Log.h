#pragma once

#include <string>
#include <string_view>

namespace webservice {

// The text with its control characters (C0, DEL, C1) and line separators written as \xNN, so that it is one line and
// moves no cursor. Names in UTF-8 stay readable; of a text that is not UTF-8 every byte above 0x7f is written so.
std::string printable(std::string_view text);

// The present time in UTC: 2024-03-01T09:30:00.123Z.
std::string timestamp();

// Puts /dev/null in the place of each standard stream that is closed, so that no file or connection of this program
// gets its number and with it what is written to the stream. To be called first.
void keepStandardStreamsOpen();

// Writes one line with the time in front to standard error. Control characters are escaped, and a very long text is
// cut. Never waits: where standard error takes nothing, as a pipe that nobody reads, the line is lost, and the next one
// that it takes tells how many were. On one thread only.
void logLine(std::string_view text);

} // namespace webservice
