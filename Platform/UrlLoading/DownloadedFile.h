#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"

#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// A file in the system temporary directory that a body is written to, removed when this is destroyed. Other users
/// cannot read it.
class DownloadedFile {
public:
    DownloadedFile() = default;
    DownloadedFile(const DownloadedFile&) = delete;
    DownloadedFile& operator=(const DownloadedFile&) = delete;
    ~DownloadedFile();

    /// Appends the bytes, which may be none; the first call creates the file.
    std::optional<Error> append(std::string_view bytes);
    /// Empty while there is no file.
    const std::string& path() const { return path_; }

private:
    std::optional<Error> make();

    std::string path_;
    FileDescriptor file_;
};

} // namespace Platform
