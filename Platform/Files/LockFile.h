#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/PrivateArea.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

struct stat;

namespace Platform {

/// A file in a private area with two functions: per-key locks between the processes of a user, and a counter that tells
/// each process whether others have incremented it. A lock is an open file description lock on one byte (fcntl(2),
/// F_OFD_SETLK); it ends with its holder and also excludes within one process. Incrementing the counter appends one
/// byte.
class LockFile {
public:
    /// The increments of other processes, and the file they are in; zero without a file.
    struct Others {
        std::pair<dev_t, ino_t> file{};
        std::int64_t count = 0;

        /// Whether no other process has counted since `earlier`, as far as one can know: not where the file is another.
        bool isUnchangedSince(const Others& earlier) const;
    };
    /// A lock, which lasts as long as the file is open, and the count at its beginning.
    struct Lock {
        FileDescriptor file;
        Others others;
    };

    /// Reads the counter; the file need not exist.
    Others others(const std::string& path) const;
    /// Locks a key; the file is made where it is missing. An error has the code EAGAIN where another one holds the
    /// lock; any other code means that there are no locks. Never waits.
    std::variant<Lock, Error> lock(const PrivateArea& area, const std::string& path, std::uint64_t key) const;
    /// Increments the counter.
    void count(const PrivateArea& area, const std::string& path);

private:
    Others others(const struct ::stat& status) const;

    /// This object's own increments, and the file they were appended to.
    std::pair<dev_t, ino_t> file_{};
    std::int64_t counted_ = 0;
};

} // namespace Platform
