#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace webservice::test {

/// A folder of the test's own, removed at its end.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    std::filesystem::path path(std::string_view relative = "") const;

    /// Writes a whole file, making its folders.
    void write(std::string_view relative, std::string_view content) const;
    void makeFolder(std::string_view relative) const;
    void move(std::string_view from, std::string_view to) const;
    void remove(std::string_view relative) const;

private:
    std::filesystem::path path_;
};

/// The whole content of a file; a test failure when it cannot be read.
std::string contentOf(const std::filesystem::path& path);

} // namespace webservice::test
