#include "WebService/Storage/Cloud.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"

#include <charconv>
#include <filesystem>
#include <utility>

namespace webservice {

namespace {

CloudFile readFile(const Query& row) {
    return {.id = row.integer(0),
            .user = row.isNull(1) ? std::nullopt : std::optional(row.integer(1)),
            .fullPath = row.text(2),
            .name = row.optionalText(3),
            .size = row.integer(4),
            .request = row.text(5),
            .transitPath = row.optionalText(6)};
}

/// The identifier of the content in a file of this name.
std::optional<std::int64_t> contentId(const std::string& name) {
    std::int64_t id = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    return error == std::errc() && end == name.data() + name.size() ? std::optional(id) : std::nullopt;
}

} // namespace

/// The process may have ended after a row was stored as removed, and before its content was.
Cloud::Cloud(Database& db, std::string directory) : db_(db), directory_(std::move(directory)) {
    std::filesystem::create_directories(directory_);
    for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
        if (const auto id = contentId(entry.path().filename().native()); id && !isRecorded(*id))
            std::filesystem::remove(entry.path());
    }
}

std::string Cloud::contentPath(std::int64_t id) const {
    return directory_ + '/' + std::to_string(id);
}

bool Cloud::isRecorded(std::int64_t id) const {
    return db_.query("SELECT 1 FROM cloud WHERE id = ?1", id).next();
}

std::int64_t Cloud::store(const CloudFile& file, const std::string& content) {
    db_.run("INSERT INTO cloud (user, full_path, name, size, request, transit_path, received_at) "
            "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT DO UPDATE SET name = excluded.name, "
            "size = excluded.size, request = excluded.request, transit_path = excluded.transit_path, "
            "received_at = excluded.received_at",
            file.user, file.fullPath, file.name, file.size, file.request, file.transitPath, timestamp());
    Query row = db_.query("SELECT id FROM cloud WHERE coalesce(user, 0) = coalesce(?1, 0) AND full_path = ?2",
                          file.user, file.fullPath);
    row.next();
    const std::int64_t id = row.integer(0);
    std::filesystem::create_directory(directory_); // it may have been removed
    std::filesystem::rename(content, contentPath(id));
    return id;
}

std::optional<CloudFile> Cloud::find(std::string_view path, std::optional<std::int64_t> user) const {
    // Two searches, each along its index. "+user" keeps the index of users out of it: a user may have many files.
    Query row =
        db_.query("SELECT id, user, full_path, name, size, request, transit_path FROM ("
                  "SELECT * FROM cloud WHERE full_path = ?1 AND (?3 IS NULL OR +user = ?3) UNION "
                  "SELECT * FROM cloud WHERE name = ?2 AND (?3 IS NULL OR +user = ?3)) ORDER BY id DESC LIMIT 1",
                  path, nameWithin("", path), user);
    return row.next() ? std::optional(readFile(row)) : std::nullopt;
}

std::vector<CloudFile> Cloud::filesOf(std::int64_t user, std::int64_t id) const {
    std::vector<CloudFile> files;
    for (Query row = db_.query("SELECT id, user, full_path, name, size, request, transit_path FROM cloud "
                               "WHERE user = ?1 AND id > ?2 ORDER BY id LIMIT 300",
                               user, id);
         row.next();)
        files.push_back(readFile(row));
    return files;
}

void Cloud::remove(std::int64_t user, std::string_view fullPath) {
    {
        Query row =
            db_.query("DELETE FROM cloud WHERE coalesce(user, 0) = ?1 AND full_path = ?2 RETURNING id", user, fullPath);
        while (row.next())
            removed_.push_back(row.integer(0));
    }
    discardRemoved();
}

/// A removal that was undone has left the row.
void Cloud::discardRemoved() {
    if (db_.isInTransaction())
        return;
    try {
        for (const std::int64_t id : std::exchange(removed_, {})) {
            if (!isRecorded(id))
                std::filesystem::remove(contentPath(id));
        }
    } catch (const std::exception& error) {
        logLine(std::string("a content that was removed is still there: ") + error.what());
    }
}

void Cloud::rename(std::int64_t user, std::string_view from, std::string_view to,
                   const std::optional<std::string>& name) {
    remove(user, to);
    db_.run("UPDATE cloud SET full_path = ?3, name = ?4 WHERE coalesce(user, 0) = ?1 AND full_path = ?2", user, from,
            to, name);
}

void Cloud::link(std::int64_t id, const std::string& path) const {
    std::filesystem::create_hard_link(contentPath(id), path);
}

void Cloud::moveOut(const std::string& to) const {
    std::filesystem::create_directories(directory_);
    std::filesystem::rename(directory_, to);
    std::filesystem::create_directories(directory_);
}

} // namespace webservice
