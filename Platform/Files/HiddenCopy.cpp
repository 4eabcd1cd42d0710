#include "Platform/Files/HiddenCopy.h"

#include "Platform/Files/Files.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace Platform::Files {

namespace {

/// The hidden name for a path. It has a fixed length, since the last component itself may be as long as a name can be.
std::string hiddenNameBeside(const std::string& path) {
    std::uint64_t hash = 0xcbf29ce484222325U; // FNV-1a
    for (const char c : lastPathComponent(path))
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), ".copying-%016" PRIx64, hash);
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

int makeEmptyFile(const char* path) {
    return ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

int makeEmptyFolder(const char* path) {
    return ::mkdir(path, S_IRWXU) == 0 ? ::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC) : -1;
}

} // namespace

HiddenCopy::HiddenCopy(const std::string& path) : path_(hiddenNameBeside(path)) {}

HiddenCopy::~HiddenCopy() {
    if (item_)
        removeCopy(path_);
}

int HiddenCopy::makeFile() {
    return make(makeEmptyFile);
}

int HiddenCopy::makeFolder() {
    return make(makeEmptyFolder);
}

int HiddenCopy::make(int (*makeOne)(const char* path)) {
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        FileDescriptor made(makeOne(path_.c_str()));
        if (!made && errno != EEXIST)
            return errno;
        if (!made) {
            if (const int number = removeAbandoned())
                return number;
            continue;
        }
        // A process that acquired the lock in between considers this copy abandoned and removes it.
        const bool locked = ::flock(made.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
        if (locked && isStillAt(made.get())) {
            item_ = std::move(made);
            return 0;
        }
    }
    return EBUSY;
}

int HiddenCopy::removeAbandoned() const {
    FileDescriptor old(::open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!old && (errno == EISDIR || errno == EACCES))
        old.reset(::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!old)
        return errno == ENOENT ? 0 : errno;
    if (::flock(old.get(), LOCK_EX | LOCK_NB) != 0)
        return EBUSY;
    if (isStillAt(old.get()))
        removeCopy(path_);
    return 0;
}

bool HiddenCopy::isStillAt(int item) const {
    struct stat opened {};
    struct stat named {};
    return ::fstat(item, &opened) == 0 && ::lstat(path_.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

} // namespace Platform::Files
