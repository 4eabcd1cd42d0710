#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"
#include "Platform/Files/FileState.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Platform {

/// A folder of this user's alone, in a directory that other accounts may write to, and the files in it and beside it.
///
/// Another account may have prepared any name there, as a link to a file of this user's or otherwise. So the directory
/// itself is taken as it is, and everything below it is reached without following symbolic links and has to belong to
/// this user. The area and the folders in it have mode 0700: one that has other bits is tightened. What is a link, or
/// somebody else's, is refused with an error that says so.
///
/// A path is the directory and a name behind it, as plain texts joined. The name may lie beside the area, or lead out
/// of it by ".."; folders there have to belong to this user or to root, and the other rules hold there too.
class PrivateArea {
public:
    /// `directory` ends in "/"; `name` is the area's folder in it.
    PrivateArea(std::string directory, std::string name);

    /// Makes every missing folder above the file at `path`.
    std::optional<Error> makeFolderOf(const std::string& path) const;
    /// Opens the file at `path` for appending, and makes it, with the user's umask, where it is missing; its folder has
    /// to be there. Refused is what is no regular file, what another name leads to as well (a hard link), and the area
    /// itself.
    std::variant<FileDescriptor, Error> openToAppend(const std::string& path) const;
    /// The size in bytes of the item at `path`; nil where nothing is, or what would be refused.
    std::optional<std::uint64_t> size(const std::string& path) const;
    /// The state of the file at `path`; nil where nothing is, or what is no file or would be refused.
    std::optional<FileState> stateOf(const std::string& path) const;
    /// The content of the file at `path`, of at most `limit` bytes (EFBIG).
    std::variant<std::string, Error> contents(const std::string& path, std::size_t limit) const;
    /// Removes the file or empty folder at `path`; nothing there is no error.
    std::optional<Error> remove(const std::string& path) const;
    /// Moves the file or folder at `path` to a path where nothing is yet (`Files::moveItem`), so that it stays there
    /// after a crash: the item is flushed before and the entry of its new path afterwards. Where something is at that
    /// path (EEXIST), that is flushed in the same way. Where flushing fails, the error is one of `Flush`, and the file
    /// is removed, wherever it is by then. May wait for the disk.
    std::optional<Error> placeItem(const std::string& path, const std::string& to) const;
    /// Moves the file at `path` into its place, where it replaces a file in one step (`Files::replaceFile`), so that it
    /// stays there after a crash: the file is flushed before, and the entry of its new path afterwards. Where flushing
    /// fails, the error is one of `Flush`. May wait for the disk.
    std::optional<Error> replaceFile(const std::string& path, const std::string& to) const;
    /// Removes what is in the folder at `path`, which itself stays.
    std::optional<Error> removeContentsOf(const std::string& path) const;

private:
    struct Item;
    enum class Missing { Refuse, Make };

    std::variant<Item, Error> itemAt(const std::string& path, Missing missing) const;

    std::string directory_;
    std::string name_;
};

} // namespace Platform
