#include "Platform/ByteLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace Platform {

int lockByte(int file, std::uint64_t key) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    // The last byte of a file is the one before the largest offset.
    lock.l_start = static_cast<off_t>(key % static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()));
    lock.l_len = 1;
    if (::fcntl(file, F_OFD_SETLK, &lock) == 0)
        return 0;
    return errno == EACCES ? EAGAIN : errno;
}

} // namespace Platform
