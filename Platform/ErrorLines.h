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
    /// Writes the lines, each with its line feed. False where there is no room for them: nothing of them is written,
    /// now or later. Of lines that were begun, the rest is written before any others.
    bool write(std::string lines);

private:
    /// Whether nothing is left to be written of lines that were begun.
    bool finish(const struct stat& status);

    std::string begun_;
    std::size_t done_ = 0;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace Platform
