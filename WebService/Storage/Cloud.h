#pragma once

#include "WebService/Storage/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// A content that was streamed up.
struct CloudFile {
    std::int64_t id = 0;
    std::optional<std::int64_t> user;
    std::string fullPath;
    std::optional<std::string> name;
    std::int64_t size = 0;
    /// The "FileRequestID" that it was sent for.
    std::string request;
    std::optional<std::string> transitPath;
};

/// The contents that computers have streamed up, in DIR/cloud, one for each user and path.
class Cloud {
public:
    /// Removes what the folder has of contents that are not recorded.
    Cloud(Database& db, std::string directory);

    /// Moves the finished file at the path `content` to where it replaces an earlier one of that user and path. The
    /// identifier of `file` is ignored. Returns the new one.
    std::int64_t store(const CloudFile& file, const std::string& content);

    /// Finds a content by full path or by name; of any user when no user is given.
    std::optional<CloudFile> find(std::string_view path, std::optional<std::int64_t> user = std::nullopt) const;

    /// The user's contents whose identifiers are greater than `id`, in ascending order, at most 300.
    std::vector<CloudFile> filesOf(std::int64_t user, std::int64_t id) const;

    /// The file of a content that is removed, or replaced by one that is renamed, stays until that is stored.
    void remove(std::int64_t user, std::string_view fullPath);
    void rename(std::int64_t user, std::string_view from, std::string_view to, const std::optional<std::string>& name);

    /// Removes the files of contents whose removal is stored by now. An error is logged; what is left over is removed
    /// at the next start. Throws nothing.
    void discardRemoved();

    /// Gives the content another name, a hard link at `path`. Throws std::system_error.
    void link(std::int64_t id, const std::string& path) const;

    /// Moves all contents away, into the new folder `to` on the same file system. Throws std::system_error.
    void moveOut(const std::string& to) const;

private:
    std::string contentPath(std::int64_t id) const;
    bool isRecorded(std::int64_t id) const;

    Database& db_;
    std::string directory_;
    /// Contents that were removed, and whose files may still be there.
    std::vector<std::int64_t> removed_;
};

} // namespace webservice
