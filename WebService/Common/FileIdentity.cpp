#include "WebService/Common/FileIdentity.h"

namespace webservice {

FileIdentity identityOf(const struct stat& status) {
    return {.inode = status.st_ino,
            .size = static_cast<std::uint64_t>(status.st_size),
            .modified = std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec};
}

} // namespace webservice
