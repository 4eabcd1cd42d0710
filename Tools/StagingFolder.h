#pragma once

#include <string>

namespace Tools {

/// A private folder for uploads that the library stages while this lives. In the home directory, where it stages them
/// otherwise, the copy would replace a file of the same name.
class StagingFolder {
public:
    /// Throws Failure where the folder cannot be made.
    StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;
    /// Removes the folder with all that is in it.
    ~StagingFolder();

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace Tools
