#pragma once

#include <string>
#include <string_view>

namespace TestSupport {

/// A new, empty folder that is removed with all that is in it when this goes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    /// The folder's path, without a trailing "/".
    const std::string& path() const { return path_; }
    /// The path of `name` in the folder; nothing is made there.
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }
    /// Makes the file `name` in the folder with that content, and the folders above it; gives its path.
    std::string write(std::string_view name, std::string_view content) const;
    /// The content of the file `name` in the folder. Throws std::runtime_error where it cannot be read.
    std::string read(std::string_view name) const;

private:
    std::string path_;
};

} // namespace TestSupport
