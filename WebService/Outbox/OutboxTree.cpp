#include "WebService/Outbox/OutboxTree.h"

#include <fcntl.h>

namespace webservice {

namespace {

constexpr int folderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Where descriptors or memory are missing, that says nothing about the item. Throws std::system_error then.
Descriptor opened(int fd, std::string_view path) {
    if (fd < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOMEM))
        throwErrno("cannot open " + std::string(path));
    return Descriptor(fd);
}

} // namespace

Writers writersOf(int fd) {
    if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(fd, F_SETLEASE, F_UNLCK);
        return Writers::None;
    }
    return errno == EAGAIN ? Writers::Some : Writers::Unknown;
}

OutboxTree::OutboxTree(std::string path) : path_(std::move(path)) {
    renew();
}

void OutboxTree::renew() {
    if (::mkdir(path_.c_str(), 0777) != 0 && errno != EEXIST)
        throwErrno("cannot make the folder " + path_);
    root_ = Descriptor(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!root_)
        throwErrno("cannot open " + path_);
}

bool OutboxTree::isCurrent() const {
    struct stat named {};
    struct stat opened {};
    return ::stat(path_.c_str(), &named) == 0 && ::fstat(root_.get(), &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

std::string OutboxTree::absolute(std::string_view relative) const {
    return relative.empty() ? path_ : (path_ + '/').append(relative);
}

/// The folder that holds the path's last component, which is stored in `last`.
Descriptor OutboxTree::openParent(std::string_view relative, std::string& last, bool makeMissing) const {
    Descriptor folder = opened(::openat(root_.get(), ".", folderFlags), path_);
    while (folder) {
        const std::size_t end = relative.find('/');
        last = relative.substr(0, end);
        if (end == std::string_view::npos)
            break;
        if (makeMissing && ::mkdirat(folder.get(), last.c_str(), 0777) != 0 && errno != EEXIST)
            return {};
        folder = opened(::openat(folder.get(), last.c_str(), folderFlags), last);
        relative.remove_prefix(end + 1);
    }
    return folder;
}

Descriptor OutboxTree::open(std::string_view relative) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    if (!parent)
        return {};
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return opened(::openat(parent.get(), last.c_str(), flags), relative);
}

std::optional<struct stat> OutboxTree::status(std::string_view relative) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    struct stat found {};
    if (!parent || ::fstatat(parent.get(), last.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return found;
}

void OutboxTree::makeFolder(std::string_view relative) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    if (!parent || (::mkdirat(parent.get(), last.c_str(), 0777) != 0 && errno != EEXIST))
        throwErrno("cannot make the folder " + absolute(relative));
    if (!Descriptor(::openat(parent.get(), last.c_str(), folderFlags))) {
        errno = EEXIST;
        throwErrno("cannot make the folder " + absolute(relative));
    }
}

void OutboxTree::makeFoldersOf(std::string_view relative) const {
    std::string last;
    if (!openParent(relative, last, true))
        throwErrno("cannot make the folders of " + absolute(relative));
}

void OutboxTree::moveIn(const std::string& from, std::string_view relative) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    if (!parent || ::renameat(AT_FDCWD, from.c_str(), parent.get(), last.c_str()) != 0)
        throwErrno("cannot place " + absolute(relative));
}

bool OutboxTree::moveOut(std::string_view relative, const std::string& to) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    if (parent && ::renameat(parent.get(), last.c_str(), AT_FDCWD, to.c_str()) == 0)
        return true;
    if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
        throwErrno("cannot take " + absolute(relative) + " out of the outbox");
    return false;
}

bool OutboxTree::removeEmptyFolder(std::string_view relative) const {
    std::string last;
    const Descriptor parent = openParent(relative, last);
    return parent && ::unlinkat(parent.get(), last.c_str(), AT_REMOVEDIR) == 0;
}

} // namespace webservice
