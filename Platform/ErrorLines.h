#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Platform {

/// Writes lines to standard error without blocking, whatever standard error is (a pipe that no process reads, a
/// terminal that is stopped, a socket), and without changing the stream for other processes that share it. Raises no
/// signal. Used by one thread at a time.
class ErrorLines {
public:
    /// Writes the lines, each with its line feed. False where there is no room for them: nothing of them is written,
    /// now or later. The rest of a partial write is written before any other line.
    bool write(std::string lines);

private:
    /// Writes the rest of a partial write; whether all of it is written.
    bool finish(const struct stat& status);

    std::string begun_;
    std::size_t done_ = 0;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace Platform
