#include "Platform/Files/PathState.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace Platform {

namespace {

PathState::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode))
        return PathState::Kind::File;
    if (S_ISDIR(mode))
        return PathState::Kind::Folder;
    return S_ISLNK(mode) ? PathState::Kind::Link : PathState::Kind::Other;
}

std::variant<std::optional<PathState>, Error> stateAt(const std::string& path, int flags) {
    struct stat status {};
    if (::fstatat(AT_FDCWD, Posix::named(path), &status, flags) == 0)
        return PathState{.kind = kindOf(status.st_mode),
                         .isOwn = status.st_uid == ::geteuid(),
                         .permissions = status.st_mode & 07777U,
                         .device = status.st_dev,
                         .size = static_cast<std::uint64_t>(status.st_size),
                         .modified = status.st_mtim.tv_sec};
    if (errno == ENOENT || errno == ENOTDIR)
        return std::nullopt;
    return Posix::error(path);
}

} // namespace

std::variant<std::optional<PathState>, Error> PathState::at(const std::string& path) {
    return stateAt(path, AT_SYMLINK_NOFOLLOW);
}

std::variant<std::optional<PathState>, Error> PathState::behindLinks(const std::string& path) {
    return stateAt(path, 0);
}

std::variant<std::string, Error> pathWithoutLinks(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> found(::realpath(Posix::named(path), nullptr), std::free);
    if (!found)
        return Posix::error(path);
    return std::string(found.get());
}

std::string mountPointOf(std::string path) {
    struct statx state {};
    while (path != "/" && (::statx(AT_FDCWD, Posix::named(path), AT_SYMLINK_NOFOLLOW, 0, &state) != 0 ||
                           (state.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0))
        path = Files::deletingLastPathComponent(path);
    return path;
}

std::optional<Error> reasonNotToWriteIn(const std::string& folder) {
    if (::faccessat(AT_FDCWD, Posix::named(folder), W_OK | X_OK, AT_EACCESS) == 0)
        return std::nullopt;
    return Posix::error(folder);
}

std::variant<std::uint64_t, Error> freeSpace(const std::string& path) {
    struct statvfs status {};
    if (::statvfs(Posix::named(path), &status) != 0)
        return Posix::error(path);
    return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

} // namespace Platform
