#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Platform {

/// Owns an open descriptor, or none, and closes it at its end.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Takes the descriptor over; a negative number is none.
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    /// The number, still owned; negative when there is none.
    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    /// The number, no longer owned.
    int release() { return std::exchange(descriptor_, -1); }
    /// Closes what is owned and owns `descriptor` instead. errno stays as it was.
    void reset(int descriptor = -1) {
        const int old = std::exchange(descriptor_, descriptor);
        if (old < 0)
            return;
        const int number = errno;
        ::close(old);
        errno = number;
    }

private:
    int descriptor_ = -1;
};

} // namespace Platform
