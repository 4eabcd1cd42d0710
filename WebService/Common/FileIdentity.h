#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace webservice {

/// Distinguishes the contents of a file without reading them.
struct FileIdentity {
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    /// In nanoseconds since 1970.
    std::int64_t modified = 0;
    bool operator==(const FileIdentity&) const = default;
};
FileIdentity identityOf(const struct stat& status);

} // namespace webservice
