#include "Platform/Files/Flush.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Platform::Flush {

namespace {

constexpr const char* errorDomain = "POSIX flush";

std::optional<Error> flush(int (*operation)(int descriptor), int item, const std::string& path) {
    int result = 0;
    do
        result = operation(item);
    while (result != 0 && errno == EINTR);
    // A file system that has nothing to flush gives one of these (fsync(2)); some have no such operation for folders.
    if (result == 0 || errno == EINVAL || errno == EROFS || errno == ENOSYS || errno == ENOTSUP)
        return std::nullopt;
    return failure(path, errno);
}

} // namespace

Error failure(const std::string& path, int number) {
    Error error = Posix::error(path, number);
    error.domain = errorDomain;
    return error;
}

bool hasFailed(const std::optional<Error>& error) {
    return error && error->domain == errorDomain;
}

std::optional<Error> data(int file, const std::string& path) {
    return flush(::fdatasync, file, path);
}

std::optional<Error> item(int item, const std::string& path) {
    return flush(::fsync, item, path);
}

std::optional<Error> folder(const std::string& path) {
    const std::string name = path.empty() ? "." : path;
    const FileDescriptor folder(::open(Posix::named(name), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder)
        return flush(::fsync, folder.get(), name);
    if (errno != EACCES)
        return failure(name, errno);
    ::sync();
    return std::nullopt;
}

std::optional<Error> entries(const std::vector<std::string>& paths) {
    for (const auto& path : paths) {
        if (auto error = folder(Files::deletingLastPathComponent(path)))
            return error;
    }
    return std::nullopt;
}

std::optional<Error> present(const std::string& path) {
    struct stat status {};
    if (::lstat(Posix::named(path), &status) != 0)
        return std::nullopt;
    const FileDescriptor present(::open(Posix::named(path), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    // What cannot be read is somebody else's.
    if (present && S_ISREG(status.st_mode)) {
        if (auto error = data(present.get(), path))
            return error;
    }
    return entries({path});
}

void startWriteBack(int file) {
    ::sync_file_range(file, 0, 0, SYNC_FILE_RANGE_WRITE);
}

} // namespace Platform::Flush
