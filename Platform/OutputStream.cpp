#include "Platform/OutputStream.h"

#include "Platform/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform {

OutputStream::OutputStream(std::string pathToAppendTo) : path_(std::move(pathToAppendTo)) {}

void OutputStream::open() {
    close();
    // O_NONBLOCK keeps a FIFO that nobody reads from holding this call up; on a regular file it means nothing.
    FileDescriptor file(
        ::open(Posix::named(path_), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        error_ = Posix::error(path_);
    else if (!S_ISREG(status.st_mode))
        error_ = Posix::error(path_, EINVAL);
    else
        file_ = std::move(file);
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

} // namespace Platform
