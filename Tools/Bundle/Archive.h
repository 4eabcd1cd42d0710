#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Tools {

struct ArchivedFile {
    /// A relative path.
    std::string path;
    std::string content;
};

/// The bytes of a gzip-compressed tar file (libarchive(3), format "ustar") of regular files with mode 0600, which
/// belong to nobody by name and were last changed at `time`, in seconds since 1970. Throws std::runtime_error with
/// libarchive's own text where a path does not fit into the format or memory runs out.
std::string tarGzip(const std::vector<ArchivedFile>& files, std::int64_t time);

} // namespace Tools
