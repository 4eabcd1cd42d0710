#pragma once

#include "Platform/Error.h"

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace Platform {

/// What is at a path, for who looks for the cause of a failure (inode(7)). Errors carry the domain "POSIX" and the
/// number of errno(3).
struct PathState {
    enum class Kind { File, Folder, Link, Other };

    Kind kind = Kind::Other;
    /// Whether it belongs to the user that this process acts for.
    bool isOwn = false;
    /// The permission bits.
    mode_t permissions = 0;
    std::uint64_t device = 0;
    std::uint64_t size = 0;
    /// When it was last written to, in seconds since 1970.
    std::int64_t modified = 0;

    /// Nil where nothing is. A link counts as itself.
    static std::variant<std::optional<PathState>, Error> at(const std::string& path);
    /// As above; a link counts as what it leads to.
    static std::variant<std::optional<PathState>, Error> behindLinks(const std::string& path);
};

/// The path of what is there, without links (realpath(3)).
std::variant<std::string, Error> pathWithoutLinks(const std::string& path);

/// Where the file system is mounted that holds a path without links (statx(2), STATX_ATTR_MOUNT_ROOT).
std::string mountPointOf(std::string path);

/// Why this process cannot make files in that folder; nil where it can (access(2)).
std::optional<Error> reasonNotToWriteIn(const std::string& folder);

/// How many bytes ordinary users can still write to the file system of that path (statvfs(3)).
std::variant<std::uint64_t, Error> freeSpace(const std::string& path);

} // namespace Platform
