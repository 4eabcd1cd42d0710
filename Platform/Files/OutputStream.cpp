#include "Platform/Files/OutputStream.h"

#include "Platform/Files/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace Platform {

std::variant<FileDescriptor, Error> OutputStream::openToAppend(const std::string& path) {
    constexpr mode_t everybody = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    // O_NONBLOCK keeps a FIFO that nobody reads from holding this call up; on a regular file it means nothing.
    FileDescriptor file(::open(Posix::named(path), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, everybody));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return Posix::error(path);
    if (!S_ISREG(status.st_mode))
        return Posix::error(path, EINVAL);
    return file;
}

OutputStream::OutputStream(std::string pathToAppendTo, Opener opener)
    : path_(std::move(pathToAppendTo)), opener_(std::move(opener)) {}

void OutputStream::open() {
    close();
    auto opened = opener_(path_);
    if (auto* error = std::get_if<Error>(&opened))
        error_ = std::move(*error);
    else
        file_ = std::get<FileDescriptor>(std::move(opened));
}

void OutputStream::close() {
    file_.reset();
}

std::int64_t OutputStream::write(std::string_view bytes) {
    if (!file_ && error_)
        return -1; // Why it could not be opened says more than that it is not open.
    ssize_t written = 0;
    do
        written = ::write(file_.get(), bytes.data(), bytes.size());
    while (written < 0 && errno == EINTR);
    if (written < 0)
        error_ = Posix::error(path_);
    return written;
}

FileDescriptor OutputStream::duplicate() const {
    return FileDescriptor(::fcntl(file_.get(), F_DUPFD_CLOEXEC, 0));
}

} // namespace Platform
