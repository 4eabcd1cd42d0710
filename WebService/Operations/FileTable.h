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

/// What a computer tells of one of its files or folders.
struct FileDescription {
    std::string fullPath;
    bool isFile = true;
    std::optional<std::string> size;
    std::optional<std::string> modified;
    std::optional<std::string> baseSystemFile;
};

/// Described by its path alone: a separator at the end, which is not part of the path, tells a folder.
FileDescription describedBy(std::string path);

struct KnownFile {
    std::int64_t id = 0;
    std::int64_t computer = 0;
    std::string fullPath;
    std::optional<std::string> name; // within the Quenmark folder; none when it cannot be expressed
    bool isFile = true;
    bool isPresent = true;
};

/// The table of one computer's files, and what a change in it means for the user's other computers: a content is asked
/// for and travels to them once it has come, a folder goes to them at once, a deletion becomes a request to delete.
class FileTable {
public:
    FileTable(Database& db, Cloud& cloud, Delivery& delivery, Computer computer)
        : db_(db), cloud_(cloud), delivery_(delivery), computer_(std::move(computer)) {}

    std::optional<KnownFile> find(std::string_view fullPath) const;

    /// Whether the table has the file with the same content, as far as its size and its date tell.
    bool has(const FileDescription& file) const;

    /// Enters the file, or brings its row up to date. Nothing follows from it. Gives its identifier.
    std::int64_t enter(const FileDescription& file);

    /// The file is new or has a new content.
    std::int64_t saved(const FileDescription& file);

    /// The file or folder has another path now, and so has everything in it. Throws RequestError "UnknownFile".
    Work<std::int64_t> renamed(std::string from, FileDescription file);

    /// The file or folder is gone with everything in it. Throws RequestError "UnknownFile".
    Work<std::int64_t> deleted(std::string fullPath);

    /// Everything that the table has and that is not among the paths is gone, without the others being told.
    Work<> keepOnly(const std::vector<FileDescription>& files);

    /// Asks the computer for the content, unless that is being waited for already.
    void request(const KnownFile& file, bool fromShared);

private:
    Work<std::vector<std::int64_t>> withContents(std::string fullPath) const;
    std::vector<KnownFile> pageBehind(std::int64_t id) const;
    KnownFile require(std::string_view fullPath) const;
    void forget(const KnownFile& file);
    Work<> forgetWithContents(std::string fullPath);
    Work<> move(const KnownFile& old, const std::string& path);
    void makeFolder(const KnownFile& folder);
    Work<> askOthersToDelete(const KnownFile& file);

    Database& db_;
    Cloud& cloud_;
    Delivery& delivery_;
    Computer computer_;
};

std::optional<KnownFile> findFile(Database& db, std::int64_t id);

} // namespace webservice
