#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/FileIdentity.h"

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Whether some process has the file open for writing.
enum class Writers { None, Some, Unknown };

/// Asks the kernel by taking a read lease for a moment: that fails with EAGAIN exactly while a process has the file
/// open for writing (fcntl(2), F_SETLEASE). Unknown where leases are not available: on another user's file without
/// CAP_LEASE, or on a file system without them. The process must ignore SIGIO, which notifies the holder of a lease of
/// a writer.
Writers writersOf(int fd);

/// The folder DIR/outbox. Files in it are reached without following a symbolic link anywhere below it. Paths are
/// relative to it, "COMPUTER/Docs/a.txt".
class OutboxTree {
public:
    /// Makes the folder if it is missing. Throws std::system_error.
    explicit OutboxTree(std::string path);

    /// Whether the open folder still has its path: it may have been removed or renamed.
    bool isCurrent() const;

    /// Creates the folder again if it was removed, and opens the one that has the path now. Throws std::system_error,
    /// for instance when the parent folder has been removed too.
    void renew();

    const std::string& path() const { return path_; }
    std::string absolute(std::string_view relative) const;

    /// Opens a file or folder for reading; no descriptor (with errno) when it does not exist, is a symbolic link or is
    /// reached through one. Throws std::system_error where descriptors or memory are missing, as the others do. Opening
    /// a FIFO or a device does not block and has no effect on it.
    Descriptor open(std::string_view relative) const;

    /// The item's own status, nil when it does not exist; a symbolic link is not followed.
    std::optional<struct stat> status(std::string_view relative) const;

    /// Creates the folder unless it exists; throws std::system_error (EEXIST where something else has the name).
    void makeFolder(std::string_view relative) const;

    /// The same for every parent folder of the item.
    void makeFoldersOf(std::string_view relative) const;

    /// Moves a finished file from elsewhere on the same file system into the outbox; replaces a file of that name.
    void moveIn(const std::string& from, std::string_view relative) const;

    /// Moves a file or folder out of the outbox, to a path on the same file system; false when it does not exist.
    /// Throws std::system_error.
    bool moveOut(std::string_view relative, const std::string& to) const;

    /// Removes a folder with nothing in it; false where there is something in it or no such folder.
    bool removeEmptyFolder(std::string_view relative) const;

private:
    Descriptor openParent(std::string_view relative, std::string& last, bool makeMissing = false) const;

    std::string path_;
    Descriptor root_;
};

} // namespace webservice
