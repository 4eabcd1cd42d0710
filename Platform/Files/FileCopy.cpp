#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/HiddenCopy.h"
#include "Platform/Files/Posix.h"

#include <climits>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace Platform::Files {

namespace {

constexpr std::size_t maxChunk = std::size_t{1} << 30;

/// Gives a copy its original's mode, without the bits that lend the owner's rights, and its times.
bool keepAttributes(int copy, const struct stat& original) {
    const std::array<timespec, 2> times{original.st_atim, original.st_mtim};
    return ::fchmod(copy, original.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0 && ::futimens(copy, times.data()) == 0;
}

bool copyBytes(int from, int to) {
    // Shares or moves the bytes inside the file system where that can be done, and stops where it cannot.
    ssize_t copied = 1;
    while (copied > 0)
        copied = ::copy_file_range(from, nullptr, to, nullptr, maxChunk, 0);
    // Goes on from there; after a complete copy this meets the end at once.
    do
        copied = ::sendfile(to, from, nullptr, maxChunk);
    while (copied > 0 || (copied < 0 && errno == EINTR));
    return copied == 0;
}

std::optional<Error> copyLink(const std::string& from, const std::string& to) {
    std::string target(PATH_MAX, '\0');
    const auto length = ::readlink(Posix::named(from), target.data(), target.size());
    if (length < 0)
        return Posix::error(from);
    target.resize(static_cast<std::size_t>(length));
    if (::symlink(target.c_str(), Posix::named(to)) != 0)
        return Posix::error(from);
    return std::nullopt;
}

/// Copies what is in a folder; what an error leaves behind is the caller's to remove.
class Copier {
public:
    /// `top` is the open folder that everything goes into.
    explicit Copier(int top) { ::fstat(top, &top_); }

    /// Copies the content and the attributes of a folder to one that is there, and empty.
    std::optional<Error> copyInto(const std::string& from, const std::string& to) {
        struct stat status {};
        if (::stat(from.c_str(), &status) != 0)
            return Posix::error(from);
        if (status.st_dev == top_.st_dev && status.st_ino == top_.st_ino)
            return Posix::error(from, EINVAL); // A folder cannot be copied to a place inside itself.
        const auto listed = contentsOfDirectory(from);
        if (const auto* error = std::get_if<Error>(&listed))
            return *error;
        for (const auto& name : std::get<0>(listed)) {
            if (auto error = copy(appendingPathComponent(from, name), appendingPathComponent(to, name)))
                return error;
        }
        const FileDescriptor target(::open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!target || !keepAttributes(target.get(), status))
            return Posix::error(to);
        return Flush::item(target.get(), to);
    }

private:
    std::optional<Error> copy(const std::string& from, const std::string& to) {
        struct stat status {};
        if (::lstat(from.c_str(), &status) != 0)
            return Posix::error(from);
        if (S_ISREG(status.st_mode))
            return copyFile(from, to);
        if (S_ISLNK(status.st_mode))
            return copyLink(from, to);
        if (!S_ISDIR(status.st_mode))
            return Posix::error(from, ENOTSUP);
        if (::mkdir(to.c_str(), S_IRWXU) != 0)
            return Posix::error(to);
        return copyInto(from, to);
    }

    static std::optional<Error> copyFile(const std::string& from, const std::string& to) {
        const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status {};
        if (!source || ::fstat(source.get(), &status) != 0)
            return Posix::error(from);
        const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!target || !copyBytes(source.get(), target.get()) || !keepAttributes(target.get(), status))
            return Posix::error(from);
        return Flush::item(target.get(), to);
    }

    struct stat top_ {};
};

/// An item by its name in an open folder; AT_FDCWD and a path do as well.
struct Place {
    int folder = AT_FDCWD;
    std::string name;
};

/// Renames without replacing on file systems without RENAME_NOREPLACE: by linkat(2) and unlinkat(2), or, for what
/// cannot be linked, after a check that is not atomic.
int renameWhereAbsent(const Place& from, const std::string& to) {
    if (::linkat(from.folder, Posix::named(from.name), AT_FDCWD, Posix::named(to), 0) == 0)
        return ::unlinkat(from.folder, Posix::named(from.name), 0);
    if (errno == EEXIST)
        return -1;
    struct stat status {};
    if (::lstat(Posix::named(to), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::renameat(from.folder, Posix::named(from.name), AT_FDCWD, Posix::named(to));
}

int renameExclusively(const Place& from, const std::string& to) {
    const int result = ::renameat2(from.folder, Posix::named(from.name), AT_FDCWD, Posix::named(to), RENAME_NOREPLACE);
    // EINVAL is the error of a file system without the flag (rename(2)).
    if (result != 0 && (errno == EINVAL || errno == ENOSYS))
        return renameWhereAbsent(from, to);
    return result;
}

/// Gives a new, empty file all that the original holds, and flushes it.
std::optional<Error> fill(int copy, int source, const struct stat& status, const std::string& from) {
    if (::lseek(source, 0, SEEK_SET) != 0 || !copyBytes(source, copy) || !keepAttributes(copy, status))
        return Posix::error(from);
    return Flush::item(copy, from);
}

/// A file without a name, on the file system of a path, so that whatever ends the process leaves nothing behind; none
/// on a file system that has no such files (open(2), O_TMPFILE).
FileDescriptor fileWithoutName(const std::string& path) {
    const std::string parent = deletingLastPathComponent(path);
    const std::string folder = parent.empty() ? "." : parent;
    return FileDescriptor(::open(Posix::named(folder), O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
}

int giveName(int file, const std::string& path) {
    const std::string opened = "/proc/self/fd/" + std::to_string(file);
    return ::linkat(AT_FDCWD, opened.c_str(), AT_FDCWD, Posix::named(path), AT_SYMLINK_FOLLOW);
}

std::optional<Error> copyOpenFile(int source, const struct stat& status, const std::string& from,
                                  const std::string& to) {
    if (const FileDescriptor copy = fileWithoutName(to)) {
        if (auto error = fill(copy.get(), source, status, from))
            return error;
        if (giveName(copy.get(), to) == 0)
            return std::nullopt;
        // Anything else is a machine without /proc, or a file system without links.
        if (errno == EEXIST)
            return Posix::error(to);
    }
    HiddenCopy copy(to);
    if (const int number = copy.makeFile())
        return Posix::error(to, number);
    if (auto error = fill(copy.item(), source, status, from))
        return error;
    if (renameExclusively({AT_FDCWD, copy.path()}, to) != 0)
        return Posix::error(to);
    copy.keep();
    return std::nullopt;
}

/// Copies an open file over the file at a path, or to a path where nothing is.
std::optional<Error> copyOverFile(int source, const struct stat& status, const std::string& from,
                                  const std::string& to) {
    HiddenCopy copy(to);
    if (const int number = copy.makeFile())
        return Posix::error(to, number);
    if (auto error = fill(copy.item(), source, status, from))
        return error;
    if (::rename(copy.path().c_str(), Posix::named(to)) != 0)
        return Posix::error(to);
    copy.keep();
    return std::nullopt;
}

/// Copies a regular file, whose `from` in errors is its path, by one of the two above.
std::optional<Error> copyFile(const Place& place, const std::string& from, const std::string& to,
                              decltype(copyOpenFile)& copyOpen = copyOpenFile) {
    const FileDescriptor source(
        ::openat(place.folder, Posix::named(place.name), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!source || ::fstat(source.get(), &status) != 0)
        return Posix::error(from);
    if (!S_ISREG(status.st_mode))
        return Posix::error(from, ENOTSUP);
    return copyOpen(source.get(), status, from, to);
}

/// Removes a file whose copy has taken its place.
std::optional<Error> removeMoved(const Place& place) {
    if (::unlinkat(place.folder, Posix::named(place.name), 0) != 0)
        return Posix::error(place.name);
    return std::nullopt;
}

std::optional<Error> copyFolder(const std::string& from, const std::string& to) {
    HiddenCopy copy(to);
    if (const int number = copy.makeFolder())
        return Posix::error(to, number);
    if (auto error = Copier(copy.item()).copyInto(from, copy.path()))
        return error;
    if (renameExclusively({AT_FDCWD, copy.path()}, to) != 0)
        return Posix::error(to);
    copy.keep();
    return std::nullopt;
}

} // namespace

std::optional<Error> copyItem(const std::string& from, const std::string& to) {
    struct stat status {};
    if (::lstat(Posix::named(to), &status) == 0)
        return Posix::error(to, EEXIST);
    if (::lstat(Posix::named(from), &status) != 0)
        return Posix::error(from);
    if (S_ISDIR(status.st_mode))
        return copyFolder(from, to);
    if (S_ISLNK(status.st_mode))
        return copyLink(from, to);
    if (!S_ISREG(status.st_mode))
        return Posix::error(from, ENOTSUP);
    return copyFile({AT_FDCWD, from}, from, to);
}

std::optional<Error> moveItem(const std::string& from, const std::string& to) {
    if (renameExclusively({AT_FDCWD, from}, to) == 0)
        return std::nullopt;
    if (errno != EXDEV)
        return Posix::error(errno == EEXIST ? to : from);
    if (auto error = copyItem(from, to))
        return error;
    return removeItem(from);
}

std::optional<Error> moveFile(int folder, const std::string& name, const std::string& to) {
    const Place from{folder, name};
    if (renameExclusively(from, to) == 0)
        return std::nullopt;
    if (errno != EXDEV)
        return Posix::error(errno == EEXIST ? to : name);
    if (auto error = copyFile(from, name, to))
        return error;
    return removeMoved(from);
}

std::optional<Error> replaceFile(int folder, const std::string& name, const std::string& to) {
    const Place from{folder, name};
    if (::renameat(folder, Posix::named(name), AT_FDCWD, Posix::named(to)) == 0)
        return std::nullopt;
    if (errno != EXDEV)
        return Posix::error(to);
    if (auto error = copyFile(from, name, to, copyOverFile))
        return error;
    return removeMoved(from);
}

} // namespace Platform::Files
