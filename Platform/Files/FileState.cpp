#include "Platform/Files/FileState.h"

#include "Platform/Files/Posix.h"

namespace Platform {

FileState FileState::of(const struct stat& status) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    return {.device = status.st_dev,
            .inode = status.st_ino,
            .size = static_cast<std::uint64_t>(status.st_size),
            .modified = status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec};
}

std::optional<FileState> FileState::at(const std::string& path) {
    struct stat status {};
    if (::lstat(Posix::named(path), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return of(status);
}

} // namespace Platform
