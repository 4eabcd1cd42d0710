#pragma once

#include <string>
#include <string_view>

namespace webservice {

// The text with its control characters written as \xNN, so that it is one line and moves no cursor. Bytes above
// 0x7f pass: UTF-8 names stay readable.
std::string printable(std::string_view text);

// The present time in UTC: 2024-03-01T09:30:00.123Z.
std::string timestamp();

// Writes one line with the time in front to standard error, in one write. Control characters are escaped, and a very
// long text is cut. Never waits: a line is lost where standard error is a pipe that nobody reads.
void logLine(std::string_view text);

} // namespace webservice
