#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Platform {

/// Lines for standard error that never make their writer wait, whatever standard error is (a pipe that nobody reads, a
/// terminal that is stopped, a socket), and that change nothing for other processes which have the same stream. Raises
/// no signal. One thread at a time.
class ErrorLines {
public:
    /// Writes the line, a line feed behind it. False where there is no room for it: nothing of it is written, now or
    /// later. Of a line that was begun, the rest is written before any other line.
    bool write(std::string line);

private:
    /// Whether nothing is left to be written of a line that was begun.
    bool finish(const struct stat& status);

    std::string begun_;
    std::size_t done_ = 0;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace Platform
