#include "Platform/FileDescriptor.h"
#include "Platform/Files.h"
#include "Platform/Posix.h"

#include <climits>

#include <fcntl.h>
#include <ftw.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <random>

namespace Platform::Files {

namespace {

constexpr std::size_t mostAtOnce = std::size_t{1} << 30;

/// Gives a copy its original's mode, without the bits that lend the owner's rights, and its times.
bool keepAttributes(int copy, const struct stat& original) {
    const std::array<timespec, 2> times{original.st_atim, original.st_mtim};
    return ::fchmod(copy, original.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0 && ::futimens(copy, times.data()) == 0;
}

bool copyBytes(int from, int to) {
    // Shares or moves the bytes inside the file system where that can be done, and stops where it cannot.
    ssize_t copied = 1;
    while (copied > 0)
        copied = ::copy_file_range(from, nullptr, to, nullptr, mostAtOnce, 0);
    // Goes on from there; after a complete copy this meets the end at once.
    do
        copied = ::sendfile(to, from, nullptr, mostAtOnce);
    while (copied > 0 || (copied < 0 && errno == EINTR));
    return copied == 0;
}

/// Copies one item to a path where nothing is yet; what an error leaves behind is the caller's to remove.
class Copier {
public:
    std::optional<Error> copy(const std::string& from, const std::string& to) {
        struct stat status {};
        if (::lstat(Posix::named(from), &status) != 0)
            return Posix::error(from);
        if (S_ISREG(status.st_mode))
            return copyFile(from, to);
        if (S_ISLNK(status.st_mode))
            return copyLink(from, to);
        if (S_ISDIR(status.st_mode))
            return copyFolder(from, to);
        return Posix::error(from, ENOTSUP);
    }

private:
    std::optional<Error> copyFile(const std::string& from, const std::string& to) {
        const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status {};
        if (!source || ::fstat(source.get(), &status) != 0)
            return Posix::error(from);
        const FileDescriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!target || !copyBytes(source.get(), target.get()) || !keepAttributes(target.get(), status))
            return Posix::error(from);
        return std::nullopt;
    }

    std::optional<Error> copyLink(const std::string& from, const std::string& to) {
        std::string target(PATH_MAX, '\0');
        const auto length = ::readlink(from.c_str(), target.data(), target.size());
        if (length < 0)
            return Posix::error(from);
        target.resize(static_cast<std::size_t>(length));
        if (::symlink(target.c_str(), to.c_str()) != 0)
            return Posix::error(from);
        return std::nullopt;
    }

    std::optional<Error> copyFolder(const std::string& from, const std::string& to) {
        struct stat status {};
        if (::stat(from.c_str(), &status) != 0)
            return Posix::error(from);
        if (isTop(status))
            return Posix::error(from, EINVAL); // A folder cannot be copied to a place inside itself.
        if (::mkdir(to.c_str(), S_IRWXU) != 0 || !rememberTop(to))
            return Posix::error(to);
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
        return std::nullopt;
    }

    /// Keeps the identity of the first folder made.
    bool rememberTop(const std::string& path) { return top_ || ::lstat(path.c_str(), &top_.emplace()) == 0; }
    bool isTop(const struct stat& folder) const {
        return top_ && folder.st_dev == top_->st_dev && folder.st_ino == top_->st_ino;
    }

    std::optional<struct stat> top_;
};

/// A name that nobody else uses, hidden, beside `path`.
std::string hiddenNameBeside(const std::string& path) {
    std::random_device random;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), ".copying-%08x%08x", random(), random());
    return appendingPathComponent(deletingLastPathComponent(path), name.data());
}

/// Removes a copy, in which folders may be ones that nobody may write to.
void removeCopy(const std::string& path) {
    const auto makeWritable = [](const char* one, const struct stat*, int kind, FTW*) {
        return kind == FTW_D || kind == FTW_DNR ? ::chmod(one, S_IRWXU) : 0;
    };
    ::nftw(path.c_str(), makeWritable, 1, FTW_PHYS);
    removeItem(path);
}

/// Renames to a path where nothing is yet, on a file system that has no step of its own for that: by a second link
/// for what can have one, else by looking first.
int renameWhereAbsent(const std::string& from, const std::string& to) {
    if (::linkat(AT_FDCWD, Posix::named(from), AT_FDCWD, Posix::named(to), 0) == 0)
        return ::unlink(Posix::named(from));
    if (errno == EEXIST)
        return -1;
    struct stat status {};
    if (::lstat(Posix::named(to), &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::rename(Posix::named(from), Posix::named(to));
}

int renameExclusively(const std::string& from, const std::string& to) {
    const int result = ::renameat2(AT_FDCWD, Posix::named(from), AT_FDCWD, Posix::named(to), RENAME_NOREPLACE);
    // EINVAL is what a file system without the flag answers (rename(2)).
    if (result != 0 && (errno == EINVAL || errno == ENOSYS))
        return renameWhereAbsent(from, to);
    return result;
}

} // namespace

std::optional<Error> copyItem(const std::string& from, const std::string& to) {
    struct stat status {};
    if (::lstat(Posix::named(to), &status) == 0)
        return Posix::error(to, EEXIST);
    const std::string copy = hiddenNameBeside(to);
    auto error = Copier().copy(from, copy);
    if (!error && renameExclusively(copy, to) != 0)
        error = Posix::error(to);
    if (error)
        removeCopy(copy);
    return error;
}

std::optional<Error> moveItem(const std::string& from, const std::string& to) {
    if (renameExclusively(from, to) == 0)
        return std::nullopt;
    if (errno != EXDEV)
        return Posix::error(errno == EEXIST ? to : from);
    if (auto error = copyItem(from, to))
        return error;
    return removeItem(from);
}

} // namespace Platform::Files
