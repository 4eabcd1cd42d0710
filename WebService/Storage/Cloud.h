#pragma once

#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Storage/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// The wire name that a computer's path has within its Quenmark folder: "\Docs\a.txt" for "Docs\a.txt", and also for
/// "Users\ann\Quenmark\Docs\a.txt" where the Quenmark folder lies in "Users\ann". Slashes count as backslashes.
/// Nothing when it cannot be expressed, for instance because of a "..".
std::optional<std::string> nameWithin(std::string_view quenmarkPath, std::string_view fullPath);

/// A content that was streamed up.
struct CloudFile {
    std::int64_t id = 0;
    std::optional<std::int64_t> user;
    std::string fullPath;
    std::optional<std::string> name;
    std::int64_t size = 0;
    std::string request; // the "FileRequestID" that it answers
    std::optional<std::string> transitPath;
};

/// The contents that computers have streamed up, in DIR/cloud, one for each user and path.
class Cloud {
public:
    Cloud(Database& db, std::string directory);

    /// Takes the finished file from the path `content` and puts it in place of an earlier one of that user and path.
    /// The identifier of `file` is not looked at. Gives the new one.
    std::int64_t store(const CloudFile& file, const std::string& content);

    /// By full path or by name; of any user when none is given.
    std::optional<CloudFile> find(std::string_view path, std::optional<std::int64_t> user = std::nullopt) const;

    /// The user's contents whose identifiers are greater than `id`, in their order, up to a few hundred.
    std::vector<CloudFile> filesOf(std::int64_t user, std::int64_t id) const;

    void remove(std::int64_t user, std::string_view fullPath);
    void rename(std::int64_t user, std::string_view from, std::string_view to, const std::optional<std::string>& name);

    /// Lays the file into a computer's outbox under the name, through a link at `scratch`.
    void deliver(const CloudFile& file, const OutboxTree& outbox, std::string_view computer, std::string_view name,
                 const std::string& scratch) const;

    std::string contentPath(std::int64_t id) const;

private:
    Database& db_;
    std::string directory_;
};

} // namespace webservice
