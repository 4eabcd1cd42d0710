#include "Support/AnotherAccount.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <set>
#include <system_error>
#include <utility>

namespace TestSupport {

namespace {

uid_t anotherUser() {
    return ::geteuid() + 1;
}

using Inode = std::pair<dev_t, ino_t>;

std::mutex mutex;
std::set<Inode> givenAway; // under `mutex`

Inode inodeOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

/// The function of that name in the C library.
template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int withOwner(int result, struct stat* status) {
    const std::lock_guard lock(mutex);
    if (result == 0 && givenAway.contains(inodeOf(*status)))
        status->st_uid = anotherUser();
    return result;
}

} // namespace

OfAnotherAccount::OfAnotherAccount(const std::string& path)
    : item_(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
    struct stat status {};
    if (!item_ || ::fstat(item_.get(), &status) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    if (::fchownat(item_.get(), "", anotherUser(), ::getegid(), AT_EMPTY_PATH) == 0)
        return;
    if (errno != EPERM)
        throw std::system_error(errno, std::generic_category(), path);
    const std::lock_guard lock(mutex);
    givenAway.insert(inodeOf(status));
}

OfAnotherAccount::~OfAnotherAccount() {
    struct stat status {};
    ::fstat(item_.get(), &status);
    if (::fchownat(item_.get(), "", ::geteuid(), ::getegid(), AT_EMPTY_PATH) != 0)
        ::perror("chown");
    const std::lock_guard lock(mutex);
    givenAway.erase(inodeOf(status));
}

} // namespace TestSupport

// In place of the C library's, for a program that links this file.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" int fstat(int descriptor, struct stat* status) noexcept {
    static auto* const real = TestSupport::original<int(int, struct stat*)>("fstat");
    return TestSupport::withOwner(real(descriptor, status), status);
}

extern "C" int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
    static auto* const real = TestSupport::original<int(int, const char*, struct stat*, int)>("fstatat");
    return TestSupport::withOwner(real(folder, path, status, flags), status);
}
// NOLINTEND
