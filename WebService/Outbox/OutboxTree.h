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

/// Asks the kernel by taking a read lease for an instant: it is refused with EAGAIN exactly while somebody has the
/// file open for writing (fcntl(2), F_SETLEASE). Unknown where leases are not to be had: on another user's file
/// without CAP_LEASE, or on a file system without them. The process must ignore SIGIO, which tells a lease's holder
/// that a writer has come.
Writers writersOf(int fd);

/// The folder DIR/outbox, as a place that files are reached in without following a symbolic link anywhere below it.
/// Paths are relative to it, "COMPUTER/Docs/a.txt".
class OutboxTree {
public:
    /// Makes the folder if it is missing. Throws std::system_error.
    explicit OutboxTree(std::string path);

    /// Whether the folder that was opened still has the path: somebody may have removed or renamed it.
    bool isCurrent() const;

    /// Makes the folder again if somebody has removed it, and stays with the one that has the path now. Throws
    /// std::system_error, for instance when the folder that it lies in has been removed too.
    void renew();

    const std::string& path() const { return path_; }
    std::string absolute(std::string_view relative) const;

    /// The descriptor of a file or folder for reading, none (with errno) when it does not exist, is a symbolic link
    /// or lies behind one. Opening a FIFO or a device does not wait and has no effect on it.
    Descriptor open(std::string_view relative) const;

    /// The item's own status, none when there is nothing; a symbolic link is described, not followed.
    std::optional<struct stat> status(std::string_view relative) const;

    /// A folder, made if it is missing; throws std::system_error (EEXIST where something else has the name).
    void makeFolder(std::string_view relative) const;

    /// The same for every folder that leads to the item.
    void makeFoldersOf(std::string_view relative) const;

    /// Puts a finished file from elsewhere on the same file system into the outbox, in place of a file of that name.
    void moveIn(const std::string& from, std::string_view relative) const;

    /// Takes a file or folder out of the outbox, to a path on the same file system; false when there is none. Throws
    /// std::system_error.
    bool moveOut(std::string_view relative, const std::string& to) const;

private:
    Descriptor openParent(std::string_view relative, std::string& last, bool makeMissing = false) const;

    std::string path_;
    Descriptor root_;
};

} // namespace webservice
