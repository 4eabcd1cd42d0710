#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Platform {

/// Identifies a version of a regular file's content.
struct FileState {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    /// When it was last written to, in nanoseconds since 1970.
    std::int64_t modified = 0;

    static FileState of(const struct stat& status);
    /// The state of the file at a path; nil where there is no regular file. Links are not followed.
    static std::optional<FileState> at(const std::string& path);

    bool isSameFileAs(const FileState& other) const { return device == other.device && inode == other.inode; }
    /// Whether a file of that state holds the same, also where it is a copy with the times of the original.
    bool hasSameContentAs(const FileState& other) const { return size == other.size && modified == other.modified; }
};

} // namespace Platform
