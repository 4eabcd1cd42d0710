#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <string>

namespace Platform::Files {

/// Where a copy is made that cannot be made without a name: a hidden one beside its path, the same at every attempt.
/// Who makes the copy holds a lock on it (flock(2)), which ends with the process; a copy without a lock was given up by
/// a process that was killed. Removes the copy at its end unless it is kept.
class HiddenCopy {
public:
    explicit HiddenCopy(const std::string& path);
    HiddenCopy(const HiddenCopy&) = delete;
    HiddenCopy& operator=(const HiddenCopy&) = delete;
    ~HiddenCopy();

    /// Makes an empty file (mode 0600) or folder (0700), in the place of a copy that was given up. Gives 0 or a number
    /// of errno(3); EBUSY where another process is at work on the same copy, or where the file system has no locks and
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
