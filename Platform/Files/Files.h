#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Local files, by path. A path is any text without a zero byte; one that holds a zero byte names nothing. Relative
/// paths are taken from the process's working directory. Each operation is done when it returns; errors carry the
/// domain "POSIX" and the number of errno(3).
namespace Platform::Files {

/// Whether a file, folder or other item is at `path`; a symbolic link counts as what it leads to.
bool exists(const std::string& path);
bool isDirectory(const std::string& path);
/// The size in bytes of what is at `path`, or nil.
std::optional<std::uint64_t> size(const std::string& path);
/// Makes the folder and every missing folder above it. A folder that is there already is no error. The paths of the
/// folders that were made are added to `made`, outermost first, where that is given.
std::optional<Error> createDirectory(const std::string& path, std::vector<std::string>* made = nullptr);
/// Moves the item to a path where nothing is yet; an existing item there is an error (EEXIST) and stays untouched.
/// Between file systems the item is copied (`copyItem`), so that the target appears whole or not at all; where the item
/// cannot be removed afterwards, that is the error, and both stay. What was moved stays after a crash once the entry of
/// its new path is flushed (`Flush::entries`), where the item was flushed before.
std::optional<Error> moveItem(const std::string& from, const std::string& to);
/// As `moveItem`, for the regular file `name` in the open folder `folder`.
std::optional<Error> moveFile(int folder, const std::string& name, const std::string& to);
/// Moves the regular file `name` of the open folder `folder` to a path where it takes the place of a file, or of
/// nothing, in one step; a folder there is an error (EISDIR). Between file systems a flushed copy takes the place
/// (`HiddenCopy`), and the file is removed afterwards.
std::optional<Error> replaceFile(int folder, const std::string& name, const std::string& to);
/// Copies a file or a whole folder tree, with its modes and times, to a path where nothing is yet (EEXIST). Symbolic
/// links are copied as links; devices, sockets and FIFOs are not copied (ENOTSUP). A copy that fails half way is
/// removed. Until it is whole, the copy of a file has no name at all (open(2), O_TMPFILE). The copy of a folder, and of
/// a file where the file system has no such files, has a hidden name beside its target, the same at every attempt: what
/// a killed process left there is removed by the next one, while a living process keeps it by a lock (EBUSY). The copy
/// is flushed before it gets its place; where that fails, the error is one of `Flush`.
std::optional<Error> copyItem(const std::string& from, const std::string& to);
/// Removes the item; a folder with all that is in it. Symbolic links are removed, never followed.
std::optional<Error> removeItem(const std::string& path);
/// Removes a folder in which nothing is (ENOTEMPTY).
std::optional<Error> removeEmptyFolder(const std::string& path);
/// The names of a folder's entries, sorted, without "." and "..".
std::variant<std::vector<std::string>, Error> contentsOfDirectory(const std::string& path);
/// The whole content of a regular file of at most `limit` bytes (a larger one: EFBIG; a folder: EISDIR; anything else,
/// which a read might wait for: EINVAL).
std::variant<std::string, Error> contents(const std::string& path, std::uint64_t limit = UINT64_MAX);
/// As above, of an open file whose path is `path`; where `file` is none, the error is what errno says.
std::variant<std::string, Error> contents(const FileDescriptor& file, const std::string& path, std::uint64_t limit);
/// Makes or replaces a file, in place.
std::optional<Error> write(const std::string& path, std::string_view content);
/// Reads a regular file whole and writes its content to another one, which is made or replaced in place. The copy can
/// be read and written by this user, and by nobody else who cannot do that with the original.
std::optional<Error> copyContents(const std::string& from, const std::string& to);
/// Replaces a file in one step, so that a reader sees the old content or the new: the content goes to a file beside
/// it, to disk, and is renamed; then the folder goes to disk too, so that the new content stays after a crash. Missing
/// folders above are made with mode 0700; the file has mode 0600.
/// Where the path is a symbolic link, the link stays, and the file that it leads to is replaced and keeps its mode, or
/// is made; links in a circle are an error (ELOOP).
std::optional<Error> writeAtomically(const std::string& path, std::string_view content);
/// Makes a file with mode 0600 in one step, durably: no reader sees a part of it, and where anything is at the path
/// already (EEXIST), that stays as it is. Its folder has to be there.
std::optional<Error> createAtomically(const std::string& path, std::string_view content);

/// The last component of a path, trailing separators left out ("/a/b.txt" gives "b.txt", "/" gives "/", "" gives "").
std::string lastPathComponent(std::string_view path);
/// The path without its last component ("/a/b" gives "/a", "/a" gives "/", "a" gives "").
std::string deletingLastPathComponent(std::string_view path);
/// What follows the last "." of the last component, or "" ("a.tar.gz" gives "gz", ".profile" gives "").
std::string pathExtension(std::string_view path);
/// The path without its extension and the "." before it.
std::string deletingPathExtension(std::string_view path);
/// `path` and `component` with exactly one "/" between them; where one is empty, the other alone.
std::string appendingPathComponent(std::string_view path, std::string_view component);

} // namespace Platform::Files
