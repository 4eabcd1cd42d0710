#include "Platform/Files/Files.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/Posix.h"

#include <climits>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>

namespace Platform::Files {

namespace {

std::string_view withoutTrailingSeparators(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

/// Makes missing folders, and adds those that were made to `made`.
std::optional<Error> makeFolders(const std::string& path, mode_t mode, std::vector<std::string>& made) {
    int number = ::mkdir(Posix::named(path), mode) == 0 ? 0 : errno;
    const std::string parent = deletingLastPathComponent(path);
    if (number == ENOENT && path.find('\0') == std::string::npos && !parent.empty() && parent != path) {
        if (auto error = makeFolders(parent, mode, made))
            return error;
        number = ::mkdir(Posix::named(path), mode) == 0 ? 0 : errno;
    }
    if (number == 0)
        made.push_back(path);
    if (number == 0 || (number == EEXIST && isDirectory(path)))
        return std::nullopt;
    return Posix::error(path, number);
}

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const auto written = ::write(file, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Reads to the end, or to the first byte beyond `limit`; false with errno set where a read fails.
bool readAll(int file, std::string& content, std::uint64_t sizeToExpect, std::uint64_t limit) {
    constexpr std::uint64_t step = 64 << 10;
    std::size_t length = 0;
    while (length <= limit) {
        // One byte more than there should be, so that the end shows in the same read.
        const std::uint64_t room = length < sizeToExpect ? sizeToExpect - length + 1 : step;
        const auto asked = static_cast<std::size_t>(std::min(room, limit - length + 1));
        content.resize(length + asked);
        const auto got = ::read(file, content.data() + length, asked);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        length += static_cast<std::size_t>(got);
        // Files of the kernel's own have size 0 and give what they have in any pieces.
        const bool reachedKnownEnd = length == sizeToExpect && static_cast<std::size_t>(got) < asked;
        if (got == 0 || reachedKnownEnd)
            break;
    }
    content.resize(length);
    return true;
}

/// Reads an open regular file whole and tells what it is.
std::variant<std::string, Error> readFile(const FileDescriptor& file, const std::string& path, std::uint64_t limit,
                                          struct stat& status) {
    limit = std::min<std::uint64_t>(limit, std::string().max_size() - 1);
    if (!file || ::fstat(file.get(), &status) != 0)
        return Posix::error(path);
    if (!S_ISREG(status.st_mode))
        return Posix::error(path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    const auto length = static_cast<std::uint64_t>(status.st_size);
    if (length > limit)
        return Posix::error(path, EFBIG);
    std::string content;
    if (!readAll(file.get(), content, length, limit))
        return Posix::error(path);
    if (content.size() > limit)
        return Posix::error(path, EFBIG);
    return content;
}

FileDescriptor openToRead(const std::string& path) {
    return FileDescriptor(::open(Posix::named(path), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

/// Where the links at a path lead to in the end, whether anything is there or not; nil where they lead in a circle.
std::optional<std::string> endOfLinks(std::string path) {
    constexpr int maxLinks = 40; // As many as the kernel follows (path_resolution(7)).
    for (int links = 0; links <= maxLinks; ++links) {
        std::array<char, PATH_MAX> target{};
        const auto length = ::readlink(Posix::named(path), target.data(), target.size());
        if (length < 0)
            return path;
        const std::string_view next(target.data(), static_cast<std::size_t>(length));
        path =
            next.starts_with('/') ? std::string(next) : appendingPathComponent(deletingLastPathComponent(path), next);
    }
    return std::nullopt;
}

/// The permissions that a copy in a group's hands may have: read and write for its owner, and for others what the
/// original gives them. Another group gets what everybody gets.
mode_t permissionsOfCopy(const struct stat& original, gid_t group) {
    const mode_t others = original.st_mode & (S_IROTH | S_IWOTH);
    const mode_t ofGroup = original.st_gid == group ? original.st_mode & (S_IRGRP | S_IWGRP) : others << 3;
    return S_IRUSR | S_IWUSR | ofGroup | others;
}

} // namespace

bool exists(const std::string& path) {
    return ::access(Posix::named(path), F_OK) == 0;
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(Posix::named(path), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<std::uint64_t> size(const std::string& path) {
    struct stat status {};
    if (::stat(Posix::named(path), &status) != 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

std::optional<Error> createDirectory(const std::string& path, std::vector<std::string>* made) {
    std::vector<std::string> folders;
    auto error = makeFolders(path, S_IRWXU | S_IRWXG | S_IRWXO, folders);
    if (made != nullptr)
        made->insert(made->end(), folders.begin(), folders.end());
    return error;
}

std::optional<Error> removeItem(const std::string& path) {
    constexpr int descriptors = 16;
    // A separator behind a link's name would have the link followed.
    const std::string item(withoutTrailingSeparators(path));
    const auto removeOne = [](const char* one, const struct stat*, int, FTW*) { return ::remove(one); };
    if (::nftw(Posix::named(item), removeOne, descriptors, FTW_DEPTH | FTW_PHYS) != 0)
        return Posix::error(path);
    return std::nullopt;
}

std::optional<Error> removeEmptyFolder(const std::string& path) {
    return ::rmdir(Posix::named(path)) == 0 ? std::nullopt : std::optional(Posix::error(path));
}

std::variant<std::vector<std::string>, Error> contentsOfDirectory(const std::string& path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(Posix::named(path)), ::closedir);
    if (!folder)
        return Posix::error(path);
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (entry == nullptr)
            break;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    if (errno != 0)
        return Posix::error(path);
    std::sort(names.begin(), names.end());
    return names;
}

std::variant<std::string, Error> contents(const std::string& path, std::uint64_t limit) {
    return contents(openToRead(path), path, limit);
}

std::variant<std::string, Error> contents(const FileDescriptor& file, const std::string& path, std::uint64_t limit) {
    struct stat status {};
    return readFile(file, path, limit, status);
}

std::optional<Error> write(const std::string& path, std::string_view content) {
    constexpr mode_t everybody = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    const FileDescriptor file(
        ::open(Posix::named(path), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, everybody));
    if (!file || !writeAll(file.get(), content))
        return Posix::error(path);
    return std::nullopt;
}

std::optional<Error> copyContents(const std::string& from, const std::string& to) {
    struct stat original {};
    const auto content = readFile(openToRead(from), from, UINT64_MAX, original);
    if (const auto* error = std::get_if<Error>(&content))
        return *error;
    const mode_t forNewFile = permissionsOfCopy(original, ::getegid());
    const FileDescriptor file(
        ::open(Posix::named(to), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, forNewFile));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return Posix::error(to);
    // For this user alone until it is whole. A file of another user's keeps its mode, if that gives nothing away.
    const mode_t present = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    const mode_t wanted = present & permissionsOfCopy(original, status.st_gid);
    if (::fchmod(file.get(), wanted & S_IRWXU) != 0 && present != wanted)
        return Posix::error(to);
    if (::ftruncate(file.get(), 0) != 0 || !writeAll(file.get(), std::get<std::string>(content)))
        return Posix::error(to);
    ::fchmod(file.get(), wanted);
    return std::nullopt;
}

std::optional<Error> writeAtomically(const std::string& link, std::string_view content) {
    const auto end = endOfLinks(link);
    if (!end)
        return Posix::error(link, ELOOP);
    const std::string& path = *end;
    struct stat replaced {};
    const bool keepsMode = path != link && ::stat(Posix::named(path), &replaced) == 0;
    const std::string folder = deletingLastPathComponent(path);
    std::vector<std::string> made;
    if (!folder.empty() && !isDirectory(folder)) {
        if (auto error = makeFolders(folder, S_IRWXU, made))
            return error;
    }
    std::string written = appendingPathComponent(folder, ".writing-XXXXXX");
    const FileDescriptor file(::mkostemp(written.data(), O_CLOEXEC));
    if (!file)
        return Posix::error(path);
    const bool hasMode = !keepsMode || ::fchmod(file.get(), replaced.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0;
    if (hasMode && writeAll(file.get(), content) && ::fsync(file.get()) == 0 &&
        ::rename(written.c_str(), Posix::named(path)) == 0) {
        auto error = Flush::folder(folder);
        return error ? error : Flush::entries(made);
    }
    auto error = Posix::error(path);
    ::unlink(written.c_str());
    return error;
}

std::optional<Error> createAtomically(const std::string& path, std::string_view content) {
    const std::string folder = deletingLastPathComponent(path);
    std::string written = appendingPathComponent(folder, ".writing-XXXXXX");
    const FileDescriptor file(::mkostemp(written.data(), O_CLOEXEC));
    if (!file)
        return Posix::error(path);
    std::optional<Error> error;
    if (!writeAll(file.get(), content) || ::fsync(file.get()) != 0)
        error = Posix::error(path);
    else if (const auto unmoved = moveItem(written, path))
        error = Posix::error(path, unmoved->code);
    if (error)
        ::unlink(written.c_str());
    return error ? error : Flush::folder(folder);
}

std::string lastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    return std::string(path == "/" ? path : path.substr(path.rfind('/') + 1));
}

std::string deletingLastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    const std::size_t separator = path.rfind('/');
    if (separator == std::string_view::npos)
        return {};
    return std::string(withoutTrailingSeparators(path.substr(0, separator + 1)));
}

std::string pathExtension(std::string_view path) {
    const std::string name = lastPathComponent(path);
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 || name == ".." ? std::string() : name.substr(dot + 1);
}

std::string deletingPathExtension(std::string_view path) {
    path = withoutTrailingSeparators(path);
    const std::string extension = pathExtension(path);
    return std::string(extension.empty() ? path : path.substr(0, path.size() - extension.size() - 1));
}

std::string appendingPathComponent(std::string_view path, std::string_view component) {
    if (path.empty() || component.empty())
        return std::string(path.empty() ? component : path);
    while (path.ends_with('/'))
        path.remove_suffix(1);
    component.remove_prefix(std::min(component.find_first_not_of('/'), component.size()));
    std::string result(path);
    result += '/';
    return result += component;
}

} // namespace Platform::Files
