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

/// A file of a private area by which the processes of a user exclude one another, key by key, and notice what the
/// others count. A lock is one of an open file description on the byte that stands for the key (fcntl(2), F_OFD_SETLK),
/// so that it ends with the process, and excludes others in the same process too. A count is one byte more.
class LockFile {
public:
    /// How often other processes have counted, and in which file; nothing where there is no file.
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

    /// Looks at the file, which need not be there.
    Others others(const std::string& path) const;
    /// Locks a key; the file is made where it is missing. An error has the code EAGAIN where another one holds the
    /// lock; any other code means that there are no locks. Never waits.
    std::variant<Lock, Error> lock(const PrivateArea& area, const std::string& path, std::uint64_t key) const;
    /// Counts for the others to notice.
    void count(const PrivateArea& area, const std::string& path);

private:
    Others others(const struct ::stat& status) const;

    /// How many bytes of which file are of this object.
    std::pair<dev_t, ino_t> file_{};
    std::int64_t counted_ = 0;
};

} // namespace Platform
