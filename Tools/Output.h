#pragma once

#include <boost/json/value.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace Tools {

/// Writes data to standard output. Throws Failure where that fails.
void print(std::string_view bytes);
/// Writes an external value as a line: unchanged, or with control characters escaped if standard output is a terminal.
void printLine(std::string_view value);
/// Writes a message to standard error.
void printMessage(std::string_view line);

/// The value as JSON over several lines, with a line feed at the end. On a terminal control characters are escaped that
/// JSON leaves as they are (RFC 8259, section 7: DEL, C1 and the line separators).
std::string prettyJson(const boost::json::value& value);
/// The value as JSON in one line, with a line feed at the end; on a terminal as `prettyJson`.
std::string jsonLine(const boost::json::value& value);
/// The beginning of a text in UTF-8: as many whole characters as fit into so many bytes.
std::string_view beginning(std::string_view text, std::size_t bytes);
/// A number of bytes as people read it: "812 B", "1.5 MiB".
std::string byteCount(std::uint64_t bytes);
/// How much of so many bytes there is: "45 % of 3.0 GiB".
std::string shareOf(std::uint64_t bytes, std::uint64_t total);

/// A progress line on standard error that is rewritten in place, without escape sequences; silent unless that is a
/// terminal that is not dumb.
class ProgressLine {
public:
    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    /// Erases the line.
    ~ProgressLine();

    /// Shows the text; an empty one erases the line.
    void show(std::string_view text);
    /// Erases the line until the next `show`.
    void clear();

private:
    const bool visible_;
    /// How many bytes of text are on the terminal, which take as many columns or fewer.
    std::size_t shown_ = 0;
};

} // namespace Tools
