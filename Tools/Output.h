#pragma once

#include <boost/json/value.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace Tools {

/// Writes data to standard output. Throws Failure where that fails.
void print(std::string_view bytes);
/// Writes a line for people to standard error.
void complain(std::string_view line);

/// The value as JSON over several lines, with a line feed at the end.
std::string prettyJson(const boost::json::value& value);
/// The text with its control characters as \xNN, so that a name from outside can neither break a line nor steer a
/// terminal.
std::string printable(std::string_view text);
/// A number of bytes as people read it: "812 B", "1.5 MiB".
std::string byteCount(std::uint64_t bytes);

/// One line of standard error that is written over as things go on; silent unless that is a terminal.
class ProgressLine {
public:
    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    /// Takes the line away.
    ~ProgressLine();

    bool isVisible() const { return visible_; }
    void show(std::string_view text);
    /// Takes the line away until the next `show`.
    void clear();

private:
    const bool visible_;
    bool shown_ = false;
};

} // namespace Tools
