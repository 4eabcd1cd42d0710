#pragma once

#include <string>

namespace Tools {

/// A private folder in which the library stages uploads while this lives, in the place of the home directory, where the
/// staged copy would replace a file of the same name. Not to be made where the deployment settings name a folder.
class StagingFolder {
public:
    /// Throws Failure where the folder cannot be made.
    StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;
    /// Removes the folder with all that is in it.
    ~StagingFolder();

private:
    std::string path_;
};

} // namespace Tools
