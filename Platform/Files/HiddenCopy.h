#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <string>

namespace Platform::Files {

/// A copy in progress under a hidden name beside its target: for folders, for files that replace another, and for file
/// systems without O_TMPFILE. The name is the same at every attempt. Its creator holds a lock on it (flock(2)); an
/// unlocked copy was abandoned by a killed process. Removes the copy at its end unless it is kept.
class HiddenCopy {
public:
    explicit HiddenCopy(const std::string& path);
    HiddenCopy(const HiddenCopy&) = delete;
    HiddenCopy& operator=(const HiddenCopy&) = delete;
    ~HiddenCopy();

    /// Makes an empty file (mode 0600) or folder (0700), replacing an abandoned copy. Returns 0 or a number of
    /// errno(3); EBUSY where another process is at work on the same copy, or where the file system has no locks and
    /// nobody can know.
    int makeFile();
    int makeFolder();

    const std::string& path() const { return path_; }
    /// The open file or folder.
    int item() const { return item_.get(); }
    /// The copy has been given its place: there is nothing to remove.
    void keep() { item_.reset(); }

private:
    int make(int (*makeOne)(const char* path));
    int removeAbandoned() const;
    bool isStillAt(int item) const;

    std::string path_;
    FileDescriptor item_;
};

} // namespace Platform::Files
