#include "WebService/Operations/FileTable.h"

#include "WebService/Common/WireName.h"

#include <unordered_set>

namespace webservice {

namespace {

KnownFile readFile(const Query& row) {
    return {.id = row.integer(0),
            .computer = row.integer(1),
            .fullPath = row.text(2),
            .name = row.optionalText(3),
            .isFile = row.integer(4) != 0,
            .isPresent = row.integer(5) != 0};
}

constexpr std::int64_t pageSize = 500;
constexpr Sql contentsQuery = "SELECT id, full_path FROM files WHERE computer = ?1 AND present AND "
                              "full_path > ?2 AND full_path < ?3 ORDER BY full_path LIMIT ?4";

} // namespace

FileDescription fileAt(std::string path) {
    const auto isSeparator = [](char c) { return c == '\\' || c == '/'; };
    FileDescription file;
    while (path.size() > 1 && isSeparator(path.back())) {
        path.pop_back();
        file.isFile = false;
    }
    file.fullPath = std::move(path);
    return file;
}

std::optional<KnownFile> findFile(Database& db, std::int64_t id) {
    Query row = db.query("SELECT id, computer, full_path, name, is_file, present FROM files WHERE id = ?1", id);
    return row.next() ? std::optional(readFile(row)) : std::nullopt;
}

std::optional<KnownFile> FileTable::find(std::string_view fullPath) const {
    Query row = db_.query("SELECT id, computer, full_path, name, is_file, present FROM files "
                          "WHERE computer = ?1 AND full_path = ?2 AND present",
                          computer_.id, fullPath);
    return row.next() ? std::optional(readFile(row)) : std::nullopt;
}

bool FileTable::has(const FileDescription& file) const {
    // A value that is missing, now or before, does not differ.
    return db_
        .query("SELECT 1 FROM files WHERE computer = ?1 AND full_path = ?2 AND present "
               "AND coalesce(size <> ?3, 0) = 0 AND coalesce(modified <> ?4, 0) = 0",
               computer_.id, file.fullPath, file.size, file.modified)
        .next();
}

KnownFile FileTable::require(std::string_view fullPath) const {
    auto file = find(fullPath);
    if (!file)
        throw RequestError("UnknownFile",
                           "computer " + std::to_string(computer_.id) + " has no file " + std::string(fullPath));
    return std::move(*file);
}

/// The identifiers of the file or folder and of everything below it, the folders before what is in them.
Work<std::vector<std::int64_t>> FileTable::withContents(std::string fullPath) const {
    std::vector<std::int64_t> ids;
    if (const auto top = find(fullPath))
        ids.push_back(top->id);
    // Everything below a folder sorts between its path with a separator and its path with the next character.
    for (const char separator : {'\\', '/'}) {
        std::string last = fullPath + separator;
        const std::string beyond = fullPath + static_cast<char>(separator + 1);
        for (std::int64_t found = pageSize; found == pageSize;) {
            co_await pause();
            found = 0;
            for (Query row = db_.query(contentsQuery, computer_.id, last, beyond, pageSize); row.next(); ++found) {
                ids.push_back(row.integer(0));
                last = row.text(1);
            }
        }
    }
    co_return ids;
}

std::int64_t FileTable::enter(const FileDescription& file) {
    if (const auto known = find(file.fullPath)) {
        db_.run("UPDATE files SET is_file = ?2, size = coalesce(?3, size), modified = coalesce(?4, modified), "
                "base_system_file = coalesce(?5, base_system_file) WHERE id = ?1",
                known->id, file.isFile, file.size, file.modified, file.baseSystemFile);
        return known->id;
    }
    db_.run("INSERT INTO files (computer, full_path, name, is_file, size, modified, base_system_file) "
            "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
            computer_.id, file.fullPath, nameWithin(computer_.quenmarkPath, file.fullPath), file.isFile, file.size,
            file.modified, file.baseSystemFile);
    return db_.lastId();
}

std::int64_t FileTable::saved(const FileDescription& file) {
    enter(file);
    const KnownFile known = require(file.fullPath);
    if (known.isFile)
        request(known, false);
    else
        makeFolder(known);
    return known.id;
}

Work<std::int64_t> FileTable::renamed(std::string from, FileDescription file) {
    const KnownFile top = require(from);
    if (from == file.fullPath)
        co_return enter(file);
    co_await removeWithContents(file.fullPath); // what is replaced
    for (const std::int64_t id : co_await withContents(from)) {
        co_await pause();
        const auto old = findFile(db_, id);
        if (old && old->isPresent && old->fullPath.starts_with(from))
            co_await move(*old, file.fullPath + old->fullPath.substr(from.size()));
        if (id == top.id)
            co_await requestDeletion(top); // with everything in it
    }
    co_return top.id;
}

Work<> FileTable::move(const KnownFile& old, const std::string& path) {
    if (const auto inTheWay = find(path))
        forget(*inTheWay); // it was added while the folder was being moved
    const auto name = nameWithin(computer_.quenmarkPath, path);
    db_.run("UPDATE files SET full_path = ?2, name = ?3 WHERE id = ?1", old.id, path, name);
    const KnownFile moved = require(path);
    if (!moved.isFile) {
        makeFolder(moved);
    } else if (cloud_.find(old.fullPath, computer_.user)) {
        cloud_.rename(computer_.user, old.fullPath, path, name);
        co_await delivery_.distribute(computer_, *cloud_.find(path, computer_.user));
    } else {
        request(moved, false);
    }
}

Work<std::int64_t> FileTable::deleted(std::string fullPath) {
    const KnownFile top = require(fullPath);
    co_await removeWithContents(fullPath);
    co_await requestDeletion(top);
    co_return top.id;
}

Work<> FileTable::removeWithContents(std::string fullPath) {
    for (const std::int64_t id : co_await withContents(std::move(fullPath))) {
        co_await pause();
        if (const auto file = findFile(db_, id); file && file->isPresent) {
            forget(*file);
            cloud_.remove(computer_.user, file->fullPath);
        }
    }
}

void FileTable::forget(const KnownFile& file) {
    db_.run("UPDATE files SET present = 0 WHERE id = ?1", file.id);
    db_.run("UPDATE requests SET state = 'cancelled' WHERE file = ?1 AND state = 'waiting'", file.id);
}

Work<> FileTable::retainOnly(const std::vector<FileDescription>& files) {
    std::unordered_set<std::string_view> paths;
    for (const FileDescription& file : files) {
        paths.insert(file.fullPath);
        co_await pause();
    }
    std::int64_t last = 0;
    for (std::vector<KnownFile> page = pageAfter(last); !page.empty(); page = pageAfter(last)) {
        for (const KnownFile& file : page) {
            co_await pause();
            last = file.id;
            if (!paths.contains(file.fullPath))
                forget(file);
        }
    }
}

std::vector<KnownFile> FileTable::pageAfter(std::int64_t id) const {
    std::vector<KnownFile> files;
    Query row = db_.query("SELECT id, computer, full_path, name, is_file, present FROM files "
                          "WHERE computer = ?1 AND present AND id > ?2 ORDER BY id LIMIT ?3",
                          computer_.id, id, pageSize);
    while (row.next())
        files.push_back(readFile(row));
    return files;
}

void FileTable::request(const KnownFile& file, bool fromShared) {
    Query waiting = db_.query("SELECT 1 FROM requests WHERE file = ?1 AND state = 'waiting'", file.id);
    if (!waiting.next())
        db_.run("INSERT INTO requests (file, from_shared, computer, position) VALUES (?1, ?2, ?3, 1 + coalesce("
                "(SELECT max(position) FROM requests WHERE computer = ?3 AND state = 'waiting'), 0))",
                file.id, fromShared, file.computer);
}

void FileTable::makeFolder(const KnownFile& folder) {
    if (!folder.name)
        return;
    for (const std::int64_t other : otherComputers(db_, computer_))
        delivery_.makeFolder(other, *folder.name);
}

/// An item that they have not fetched yet is removed from their outboxes.
Work<> FileTable::requestDeletion(const KnownFile& file) {
    for (const std::int64_t other : otherComputers(db_, computer_)) {
        co_await pause();
        if (file.name)
            co_await delivery_.remove(other, *file.name);
        db_.run("INSERT INTO deletions (computer, path) VALUES (?1, ?2)", other, file.name.value_or(file.fullPath));
    }
}

} // namespace webservice
