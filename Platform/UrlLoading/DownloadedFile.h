#pragma once

#include "Platform/Error.h"
#include "Platform/FileDescriptor.h"

#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// A file in the system temporary directory that takes a body, and is removed when this goes. Others cannot read it.
class DownloadedFile {
public:
    DownloadedFile() = default;
    DownloadedFile(const DownloadedFile&) = delete;
    DownloadedFile& operator=(const DownloadedFile&) = delete;
    ~DownloadedFile();

    /// Adds the bytes; makes the file at the first call, which may come without any.
    std::optional<Error> append(std::string_view bytes);
    /// Empty while there is no file.
    const std::string& path() const { return path_; }

private:
    std::optional<Error> make();

    std::string path_;
    FileDescriptor file_;
};

} // namespace Platform
