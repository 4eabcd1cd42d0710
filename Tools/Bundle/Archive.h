#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tools {

struct ArchivedFile {
    /// A relative path of at most 99 bytes.
    std::string path;
    std::string content;
};

/// An archive of regular files with mode 0600 that tar(1) unpacks: the format ustar (POSIX.1-2017, pax, "ustar
/// Interchange Format"). They belong to nobody by name, and were last changed at `time`, in seconds since 1970.
std::string tarArchive(const std::vector<ArchivedFile>& files, std::int64_t time);

/// The bytes as a gzip file with one member (RFC 1952).
std::string gzipped(std::string_view bytes);

} // namespace Tools
