#include "WebService/Operations/FileTable.h"

#include "WebService/Log.h"
#include "WebService/OutboxName.h"

#include <functional>
#include <set>
#include <system_error>

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

// A computer that has not deleted the path yet must not do so once there is something new at it.
void takeBackDeletion(Database& db, std::int64_t computer, std::string_view name) {
    db.run("UPDATE deletions SET state = 'done' WHERE computer = ?1 AND path = ?2 AND state = 'waiting'", computer,
           name);
}

// What lies in the way in an outbox hinders neither the operation nor the other computers.
void placing(const std::string& path, const std::function<void()>& place) {
    try {
        place();
    } catch (const std::system_error& error) {
        logLine("cannot lay " + path + " into an outbox: " + error.what());
    }
}

} // namespace

FileDescription describedBy(std::string path) {
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
    Query row = state_.db.query("SELECT id, computer, full_path, name, is_file, present FROM files "
                                "WHERE computer = ?1 AND full_path = ?2 AND present",
                                computer_.id, fullPath);
    return row.next() ? std::optional(readFile(row)) : std::nullopt;
}

KnownFile FileTable::require(std::string_view fullPath) const {
    auto file = find(fullPath);
    if (!file) {
        throw Refusal("UnknownFile",
                      "computer " + std::to_string(computer_.id) + " has no file " + std::string(fullPath));
    }
    return std::move(*file);
}

// The file or folder and everything below it, the folders before what is in them.
std::vector<KnownFile> FileTable::withContents(std::string_view fullPath) const {
    std::vector<KnownFile> files;
    Query row = state_.db.query("SELECT id, computer, full_path, name, is_file, present FROM files "
                                "WHERE computer = ?1 AND present AND (full_path = ?2 OR "
                                "substr(full_path, 1, length(?2) + 1) IN (?2 || '\\', ?2 || '/')) ORDER BY full_path",
                                computer_.id, fullPath);
    while (row.next()) {
        files.push_back(readFile(row));
    }
    return files;
}

std::int64_t FileTable::enter(const FileDescription& file) {
    if (const auto known = find(file.fullPath)) {
        state_.db.run("UPDATE files SET is_file = ?2, size = coalesce(?3, size), modified = coalesce(?4, modified), "
                      "base_system_file = coalesce(?5, base_system_file) WHERE id = ?1",
                      known->id, file.isFile, file.size, file.modified, file.baseSystemFile);
        return known->id;
    }
    state_.db.run("INSERT INTO files (computer, full_path, name, is_file, size, modified, base_system_file) "
                  "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
                  computer_.id, file.fullPath, nameWithin(computer_.quenmarkPath, file.fullPath), file.isFile,
                  file.size, file.modified, file.baseSystemFile);
    return state_.db.lastId();
}

std::int64_t FileTable::saved(const FileDescription& file) {
    enter(file);
    const KnownFile known = require(file.fullPath);
    if (known.isFile) {
        request(known, false);
    } else {
        makeFolder(known);
    }
    return known.id;
}

std::int64_t FileTable::renamed(std::string_view from, const FileDescription& file) {
    const std::int64_t id = require(from).id;
    if (from == file.fullPath) {
        return enter(file);
    }
    forgetWithContents(file.fullPath); // what is replaced
    for (const KnownFile& old : withContents(from)) {
        const std::string path = file.fullPath + old.fullPath.substr(from.size());
        const auto name = nameWithin(computer_.quenmarkPath, path);
        state_.db.run("UPDATE files SET full_path = ?2, name = ?3 WHERE id = ?1", old.id, path, name);
        const KnownFile moved = require(path);
        if (!moved.isFile) {
            makeFolder(moved);
        } else if (state_.cloud.find(old.fullPath, computer_.user)) {
            state_.cloud.rename(computer_.user, old.fullPath, path, name);
            distribute(state_, computer_, *state_.cloud.find(path, computer_.user));
        } else {
            request(moved, false);
        }
        if (old.fullPath == from) {
            askOthersToDelete(old);
        }
    }
    return id;
}

std::int64_t FileTable::deleted(std::string_view fullPath) {
    const KnownFile top = require(fullPath);
    forgetWithContents(fullPath);
    askOthersToDelete(top);
    return top.id;
}

void FileTable::forgetWithContents(std::string_view fullPath) {
    for (const KnownFile& file : withContents(fullPath)) {
        forget(file);
        state_.cloud.remove(computer_.user, file.fullPath);
    }
}

void FileTable::forget(const KnownFile& file) {
    state_.db.run("UPDATE files SET present = 0 WHERE id = ?1", file.id);
    state_.db.run("UPDATE requests SET state = 'cancelled' WHERE file = ?1 AND state = 'waiting'", file.id);
}

void FileTable::keepOnly(const std::vector<FileDescription>& files) {
    std::set<std::string_view> paths;
    for (const FileDescription& file : files) {
        paths.insert(file.fullPath);
    }
    std::vector<KnownFile> missing;
    for (Query row = state_.db.query("SELECT id, computer, full_path, name, is_file, present FROM files "
                                     "WHERE computer = ?1 AND present",
                                     computer_.id);
         row.next();) {
        if (!paths.contains(row.text(2))) {
            missing.push_back(readFile(row));
        }
    }
    for (const KnownFile& file : missing) {
        forget(file);
    }
}

void FileTable::request(const KnownFile& file, bool fromShared) {
    Query waiting = state_.db.query("SELECT 1 FROM requests WHERE file = ?1 AND state = 'waiting'", file.id);
    if (!waiting.next()) {
        state_.db.run("INSERT INTO requests (file, from_shared) VALUES (?1, ?2)", file.id, fromShared);
    }
}

void FileTable::makeFolder(const KnownFile& folder) {
    if (!folder.name) {
        return;
    }
    for (const std::int64_t other : otherComputers(state_.db, computer_)) {
        const std::string path = std::to_string(other) + '/' + outboxPath(*folder.name);
        takeBackDeletion(state_.db, other, *folder.name);
        placing(path, [&] {
            state_.tree.makeFoldersOf(path);
            state_.tree.makeFolder(path);
        });
    }
}

// What they have not fetched yet they need not fetch any more.
void FileTable::askOthersToDelete(const KnownFile& file) {
    for (const std::int64_t other : otherComputers(state_.db, computer_)) {
        if (file.name) {
            state_.tree.remove(std::to_string(other) + '/' + outboxPath(*file.name));
        }
        state_.db.run("INSERT INTO deletions (computer, path) VALUES (?1, ?2)", other,
                      file.name.value_or(file.fullPath));
    }
}

void deliver(State& state, std::int64_t computer, const CloudFile& file, const std::optional<std::string>& name) {
    if (!name) {
        logLine(file.fullPath + " stays in the cloud: its name cannot be told on the wire");
        return;
    }
    takeBackDeletion(state.db, computer, *name);
    placing(*name,
            [&] { state.cloud.deliver(file, state.tree, std::to_string(computer), *name, state.incomingPath()); });
}

void distribute(State& state, const Computer& from, const CloudFile& file) {
    for (const std::int64_t other : otherComputers(state.db, from)) {
        deliver(state, other, file, file.name);
    }
}

} // namespace webservice
