#include "Platform/Files/LockFile.h"

#include "Platform/Files/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

namespace Platform {

namespace {

std::pair<dev_t, ino_t> identity(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

std::variant<FileDescriptor, Error> open(const PrivateArea& area, const std::string& path) {
    if (auto error = area.makeFolderOf(path))
        return *std::move(error);
    return area.openToAppend(path);
}

bool lockByte(int file, std::uint64_t number) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(number % static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()));
    lock.l_len = 1;
    return ::fcntl(file, F_OFD_SETLK, &lock) == 0;
}

} // namespace

bool LockFile::Others::isUnchangedSince(const Others& earlier) const {
    const bool isSameFile = file == earlier.file || earlier.file == Others().file;
    return isSameFile && count == earlier.count;
}

LockFile::Others LockFile::others(const struct stat& status) const {
    return {identity(status), status.st_size - (identity(status) == file_ ? counted_ : 0)};
}

LockFile::Others LockFile::others(const std::string& path) const {
    struct stat status {};
    return ::stat(Posix::named(path), &status) == 0 ? others(status) : Others();
}

std::variant<LockFile::Lock, Error> LockFile::lock(const PrivateArea& area, const std::string& path,
                                                   std::uint64_t key) const {
    auto opened = open(area, path);
    if (auto* error = std::get_if<Error>(&opened))
        return std::move(*error);
    auto& file = std::get<FileDescriptor>(opened);
    if (!lockByte(file.get(), key))
        return Posix::error(path, errno == EACCES ? EAGAIN : errno);
    // The file may have been removed before the lock was there; the size is read once it is.
    struct stat locked {};
    struct stat named {};
    if (::fstat(file.get(), &locked) != 0 || ::stat(path.c_str(), &named) != 0 || identity(locked) != identity(named))
        return Posix::error(path, EAGAIN);
    return Lock{std::move(file), others(locked)};
}

void LockFile::count(const PrivateArea& area, const std::string& path) {
    const auto opened = open(area, path);
    const auto* file = std::get_if<FileDescriptor>(&opened);
    struct stat status {};
    if (file == nullptr || ::fstat(file->get(), &status) != 0)
        return;
    if (identity(status) != std::exchange(file_, identity(status)))
        counted_ = 0;
    if (::write(file->get(), "\n", 1) == 1)
        ++counted_;
}

} // namespace Platform
