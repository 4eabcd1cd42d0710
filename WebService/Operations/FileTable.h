#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Operations/Accounts.h"
#include "WebService/Operations/Delivery.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// A file or folder as a computer describes it.
struct FileDescription {
    std::string fullPath;
    bool isFile = true;
    std::optional<std::string> size;
    std::optional<std::string> modified;
    std::optional<std::string> baseSystemFile;
};

/// Described by its path alone: a separator at the end, which is not part of the path, means a folder.
FileDescription fileAt(std::string path);

struct KnownFile {
    std::int64_t id = 0;
    std::int64_t computer = 0;
    std::string fullPath;
    /// Within the Quenmark folder; none when it cannot be expressed.
    std::optional<std::string> name;
    bool isFile = true;
    bool isPresent = true;
};

/// The table of one computer's files, and the effects of a change in it on the user's other computers: a content is
/// requested and delivered to them once it has arrived, a folder is made in their outboxes at once, a deletion becomes
/// a request to delete.
class FileTable {
public:
    FileTable(Database& db, Cloud& cloud, Delivery& delivery, Computer computer)
        : db_(db), cloud_(cloud), delivery_(delivery), computer_(std::move(computer)) {}

    std::optional<KnownFile> find(std::string_view fullPath) const;

    /// Whether the table has the file with the same content, as far as its size and date show.
    bool has(const FileDescription& file) const;

    /// Adds the file, or updates its row, without any effect on others. Returns its identifier.
    std::int64_t enter(const FileDescription& file);

    /// The file is new or has a new content.
    std::int64_t saved(const FileDescription& file);

    /// The file or folder has another path now, and everything in it as well. Throws RequestError "UnknownFile".
    Work<std::int64_t> renamed(std::string from, FileDescription file);

    /// The file or folder was removed with everything in it. Throws RequestError "UnknownFile".
    Work<std::int64_t> deleted(std::string fullPath);

    /// Removes every file from the table that is not among the given ones, without an effect on other computers.
    Work<> retainOnly(const std::vector<FileDescription>& files);

    /// Requests the content from the computer, unless a request is waiting already.
    void request(const KnownFile& file, bool fromShared);

private:
    Work<std::vector<std::int64_t>> withContents(std::string fullPath) const;
    std::vector<KnownFile> pageAfter(std::int64_t id) const;
    KnownFile require(std::string_view fullPath) const;
    void forget(const KnownFile& file);
    Work<> removeWithContents(std::string fullPath);
    Work<> move(const KnownFile& old, const std::string& path);
    void makeFolder(const KnownFile& folder);
    Work<> requestDeletion(const KnownFile& file);

    Database& db_;
    Cloud& cloud_;
    Delivery& delivery_;
    Computer computer_;
};

std::optional<KnownFile> findFile(Database& db, std::int64_t id);

} // namespace webservice
