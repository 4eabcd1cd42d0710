#include "Platform/Files/PrivateArea.h"

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

namespace Platform {

namespace {

constexpr mode_t everybody = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;

Error refusal(const std::string& path, int number, const char* why) {
    return Error{Posix::errorDomain, number, path + ": refused, " + why};
}

std::optional<Error> refusalOfOwner(const std::string& path, const struct stat& status, bool rootIsGood) {
    if (status.st_uid == ::geteuid() || (rootIsGood && status.st_uid == 0))
        return std::nullopt;
    return refusal(path, EPERM, "it belongs to another user");
}

/// What is wrong with an item whose opening failed with `number`.
Error whyNotOpened(int folder, const std::string& name, const std::string& path, int number) {
    struct stat status {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return Posix::error(path, number);
    if (S_ISLNK(status.st_mode))
        return refusal(path, ELOOP, "it is a symbolic link");
    return refusalOfOwner(path, status, false).value_or(Posix::error(path, number));
}

/// What is wrong with a file that is to be read or written as this user's.
std::optional<Error> refusalOfFile(const std::string& path, const struct stat& status) {
    if (S_ISLNK(status.st_mode))
        return refusal(path, ELOOP, "it is a symbolic link");
    if (!S_ISREG(status.st_mode))
        return Posix::error(path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    if (auto error = refusalOfOwner(path, status, false))
        return error;
    if (status.st_nlink > 1)
        return refusal(path, EMLINK, "it is a file that has another name as well");
    return std::nullopt;
}

bool namesFolder(std::string_view component) {
    return component.empty() || component == "." || component == "..";
}

/// The way from the directory down to a folder, one component after the other.
class Walk {
public:
    Walk(const std::string& directory, std::string_view areaName, bool makesMissing)
        : areaName_(areaName), makesMissing_(makesMissing), path_(directory) {
        if (makesMissing_ && !Files::exists(directory))
            Files::createDirectory(directory);
        folder_.reset(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!folder_)
            error_ = Posix::error(directory);
    }

    void enter(std::string_view component) {
        if (error_ || component.empty() || component == ".")
            return;
        path_ += component;
        path_ += '/';
        if (component == "..")
            return leave();
        isInArea_ = isInArea_ || (depth_ == 0 && component == areaName_);
        if (depth_)
            ++*depth_;
        enterFolder(std::string(component));
    }

    const std::optional<Error>& error() const { return error_; }
    FileDescriptor takeFolder() { return std::move(folder_); }
    bool isInArea() const { return isInArea_; }
    /// Whether the folder is the directory itself.
    bool isInDirectory() const { return depth_ == 0; }

private:
    void leave() {
        FileDescriptor parent(::openat(folder_.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!parent)
            return fail(Posix::error(path_));
        folder_ = std::move(parent);
        if (depth_ && *depth_ > 0)
            --*depth_;
        else
            depth_.reset();
        isInArea_ = isInArea_ && depth_ && *depth_ > 0;
    }

    void enterFolder(const std::string& name) {
        const int access = isInArea_ ? O_RDONLY : O_PATH;
        const int flags = access | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        FileDescriptor entered(::openat(folder_.get(), name.c_str(), flags));
        if (!entered && errno == ENOENT && makesMissing_) {
            ::mkdirat(folder_.get(), name.c_str(), S_IRWXU);
            entered.reset(::openat(folder_.get(), name.c_str(), flags));
        }
        struct stat status {};
        if (!entered || ::fstat(entered.get(), &status) != 0)
            return fail(whyNotOpened(folder_.get(), name, named(), errno));
        if (auto error = refusalOfOwner(named(), status, !isInArea_))
            return fail(*std::move(error));
        if (isInArea_ && (status.st_mode & permissions) != S_IRWXU && ::fchmod(entered.get(), S_IRWXU) != 0)
            return fail(Posix::error(named()));
        folder_ = std::move(entered);
    }

    std::string named() const { return path_.substr(0, path_.size() - 1); }
    void fail(Error error) {
        error_ = std::move(error);
        folder_.reset();
    }

    std::string_view areaName_;
    bool makesMissing_;
    std::string path_;
    FileDescriptor folder_;
    /// How many folders below the directory; nil once the way has led out of it.
    std::optional<int> depth_ = 0;
    bool isInArea_ = false;
    std::optional<Error> error_;
};

} // namespace

/// The item of a path: its last component in the folder that holds it.
struct PrivateArea::Item {
    FileDescriptor folder;
    std::string name;
    bool isInArea = false;
    bool isArea = false;

    /// Flushes the item. A folder is flushed with all that its file system holds (syncfs(2)).
    std::optional<Error> flush(const std::string& path, const struct stat& status) const {
        const int flags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
        FileDescriptor opened(::openat(folder.get(), name.c_str(), flags | O_RDONLY));
        if (!opened && errno == EACCES) // A umask may leave a file that can be written to alone.
            opened.reset(::openat(folder.get(), name.c_str(), flags | O_WRONLY));
        if (!opened)
            return Flush::failure(path, errno);
        if (S_ISDIR(status.st_mode))
            return ::syncfs(opened.get()) == 0 ? std::nullopt : std::optional(Flush::failure(path, errno));
        return Flush::data(opened.get(), path);
    }
    void removeFile() const { ::unlinkat(folder.get(), name.c_str(), 0); }
};

PrivateArea::PrivateArea(std::string directory, std::string name)
    : directory_(std::move(directory)), name_(std::move(name)) {}

std::variant<PrivateArea::Item, Error> PrivateArea::itemAt(const std::string& path, Missing missing) const {
    if (path.find('\0') != std::string::npos)
        return Posix::error(path, ENOENT);
    if (!path.starts_with(directory_))
        return Posix::error(path, EINVAL);
    Walk walk(directory_, name_, missing == Missing::Make);
    std::string_view rest = std::string_view(path).substr(directory_.size());
    for (std::size_t separator = rest.find('/'); separator != std::string_view::npos; separator = rest.find('/')) {
        walk.enter(rest.substr(0, separator));
        rest.remove_prefix(separator + 1);
    }
    if (walk.error())
        return *walk.error();
    const bool isArea = walk.isInDirectory() && rest == name_;
    return Item{walk.takeFolder(), std::string(rest), walk.isInArea(), isArea};
}

std::optional<Error> PrivateArea::makeFolderOf(const std::string& path) const {
    const auto found = itemAt(path, Missing::Make);
    const auto* error = std::get_if<Error>(&found);
    return error != nullptr ? std::optional(*error) : std::nullopt;
}

std::variant<FileDescriptor, Error> PrivateArea::openToAppend(const std::string& path) const {
    const auto found = itemAt(path, Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return *error;
    const auto& item = std::get<Item>(found);
    if (item.isArea || namesFolder(item.name))
        return Posix::error(path, EISDIR);
    // O_NONBLOCK keeps a FIFO that nobody reads from holding this call up; on a regular file it means nothing.
    FileDescriptor file(::openat(item.folder.get(), item.name.c_str(),
                                 O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                                 everybody));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return whyNotOpened(item.folder.get(), item.name, path, errno);
    if (auto error = refusalOfFile(path, status))
        return *std::move(error);
    return file;
}

std::optional<std::uint64_t> PrivateArea::size(const std::string& path) const {
    const auto found = itemAt(path, Missing::Refuse);
    const auto* item = std::get_if<Item>(&found);
    struct stat status {};
    if (item == nullptr || namesFolder(item->name) ||
        ::fstatat(item->folder.get(), item->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    if (!S_ISDIR(status.st_mode) && refusalOfFile(path, status))
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

std::optional<FileState> PrivateArea::stateOf(const std::string& path) const {
    const auto found = itemAt(path, Missing::Refuse);
    const auto* item = std::get_if<Item>(&found);
    struct stat status {};
    if (item == nullptr || namesFolder(item->name) ||
        ::fstatat(item->folder.get(), item->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        refusalOfFile(path, status))
        return std::nullopt;
    return FileState::of(status);
}

std::variant<std::string, Error> PrivateArea::contents(const std::string& path, std::size_t limit) const {
    const auto found = itemAt(path, Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return *error;
    const auto& item = std::get<Item>(found);
    const FileDescriptor file(
        ::openat(item.folder.get(), item.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return whyNotOpened(item.folder.get(), item.name, path, errno);
    if (auto error = refusalOfFile(path, status))
        return *std::move(error);
    return Files::contents(file, path, limit);
}

std::optional<Error> PrivateArea::remove(const std::string& path) const {
    const auto found = itemAt(path, Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return error->code == ENOENT ? std::nullopt : std::optional(*error);
    const auto& item = std::get<Item>(found);
    int result = ::unlinkat(item.folder.get(), item.name.c_str(), 0);
    if (result != 0 && errno == EISDIR)
        result = ::unlinkat(item.folder.get(), item.name.c_str(), AT_REMOVEDIR);
    return result == 0 || errno == ENOENT ? std::nullopt : std::optional(Posix::error(path));
}

std::optional<Error> PrivateArea::replaceFile(const std::string& path, const std::string& to) const {
    const auto found = itemAt(path, Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return *error;
    const auto& item = std::get<Item>(found);
    struct stat status {};
    if (::fstatat(item.folder.get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return Posix::error(path);
    if (auto error = refusalOfFile(path, status))
        return error;
    if (auto error = item.flush(path, status))
        return error;
    if (auto error = Files::replaceFile(item.folder.get(), item.name, to))
        return error;
    return Flush::entries({to});
}

std::optional<Error> PrivateArea::placeItem(const std::string& path, const std::string& to) const {
    const auto found = itemAt(path, Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return *error;
    const auto& item = std::get<Item>(found);
    struct stat status {};
    if (item.isArea || namesFolder(item.name))
        return Posix::error(path, EISDIR);
    if (::fstatat(item.folder.get(), item.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return Posix::error(path);
    const bool isFolder = S_ISDIR(status.st_mode);
    if (auto error = isFolder ? refusalOfOwner(path, status, false) : refusalOfFile(path, status))
        return error;
    auto error = item.flush(path, status);
    if (!error)
        error = isFolder ? Files::moveItem(path, to) : Files::moveFile(item.folder.get(), item.name, to);
    const bool isMoved = !error;
    if (isMoved)
        error = Flush::entries({to});
    else if (!Flush::hasFailed(error))
        error = Flush::present(to).value_or(*error);
    if (Flush::hasFailed(error)) {
        item.removeFile();
        if (isMoved)
            ::unlink(Posix::named(to));
    }
    if (!error || Flush::hasFailed(error) || error->code == EEXIST)
        return error;
    return Posix::error(path, error->code);
}

std::optional<Error> PrivateArea::removeContentsOf(const std::string& path) const {
    const auto found = itemAt(path + "/.", Missing::Refuse);
    if (const auto* error = std::get_if<Error>(&found))
        return *error;
    if (!std::get<Item>(found).isInArea)
        return Posix::error(path, EINVAL);
    const auto listed = Files::contentsOfDirectory(path);
    if (const auto* error = std::get_if<Error>(&listed))
        return *error;
    std::optional<Error> first;
    for (const auto& name : std::get<0>(listed)) {
        auto error = Files::removeItem(Files::appendingPathComponent(path, name));
        if (!first)
            first = std::move(error);
    }
    return first;
}

} // namespace Platform
