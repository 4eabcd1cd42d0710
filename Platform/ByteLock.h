#pragma once

#include <cstdint>

namespace Platform {

/// Locks the byte of an open file that stands for a key, against every other open file description of this process and
/// of others (fcntl(2), F_OFD_SETLK); the byte need not be there. The file has to be open for writing, and the lock
/// ends when its last descriptor is closed. Gives 0 or a number of errno(3): EAGAIN where another one holds it, ENOLCK
/// or EINVAL where the file system has no locks. Never waits.
int lockByte(int file, std::uint64_t key);

} // namespace Platform
