#include "WebService/Operations/OneTimeSync.h"

#include "WebService/Operations/FileTable.h"

namespace webservice {

namespace {

FileDescription entryOf(const boost::json::value& entry) {
    if (entry.is_string()) {
        return describedBy(std::string(entry.get_string()));
    }
    if (!entry.is_object()) {
        throw Refusal("WrongType", "an entry of \"AllFiles\" is neither a path nor an object");
    }
    const Record record(entry.get_object());
    FileDescription file = describedBy(record.text("FullPath"));
    file.isFile = record.optional("IsFile") ? record.isTrue("IsFile") : file.isFile;
    file.size = record.optional("FileSize");
    file.modified = record.optional("FileModifiedDate");
    file.baseSystemFile = record.optional("BaseSystemFileID");
    return file;
}

std::vector<FileDescription> parseAllFiles(std::string_view text) {
    std::vector<FileDescription> files;
    if (text.starts_with('[')) {
        const boost::json::value list = parseJson(text);
        for (const boost::json::value& entry : list.get_array()) {
            files.push_back(entryOf(entry));
        }
        return files;
    }
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            files.push_back(describedBy(std::string(line)));
        }
    }
    return files;
}

// The computer, with the path that it has by now.
Computer relocated(State& state, const Record& request) {
    Computer computer = requireComputer(state.db, request);
    if (const auto path = request.optional("QuenmarkPath"); path && *path != computer.quenmarkPath) {
        state.db.run("UPDATE computers SET quenmark_path = ?2 WHERE id = ?1", computer.id, *path);
        computer.quenmarkPath = *path;
    }
    return computer;
}

} // namespace

boost::json::object oneTimeSyncOwnersSharedFolders(State& state, const Record& request) {
    const User user = requireUser(state.db, request);
    const Computer computer = requireComputer(state.db, request);
    if (computer.user != user.id) {
        throw Refusal("WrongUser", "computer " + std::to_string(computer.id) + " belongs to another user");
    }
    state.db.run("INSERT INTO transfers (file, from_computer, to_computer, is_file, change_type, full_path, "
                 "old_full_path, base_system_file, prev_folder_file, xml_file) "
                 "SELECT file, from_computer, ?1, t.is_file, change_type, t.full_path, old_full_path, "
                 "t.base_system_file, prev_folder_file, xml_file FROM transfers AS t "
                 "JOIN computers AS c ON c.id = t.to_computer JOIN files ON files.id = t.file "
                 "WHERE c.user = ?2 AND files.present AND t.from_computer <> ?1 AND NOT EXISTS "
                 "(SELECT 1 FROM transfers WHERE file = t.file AND to_computer = ?1) GROUP BY file ORDER BY t.id",
                 computer.id, user.id);
    state.db.run("INSERT INTO computer_maps (owner, subscriber) SELECT DISTINCT from_computer, to_computer "
                 "FROM transfers WHERE to_computer = ?1 ON CONFLICT DO NOTHING",
                 computer.id);
    return done();
}

boost::json::object transferFilesFromCloudToBaseSystem(State& state, const Record& request) {
    const Computer computer = relocated(state, request);
    for (const CloudFile& file : state.cloud.filesOf(computer.user)) {
        deliver(state, computer.id, file, file.name);
    }
    return done();
}

boost::json::object oneTimeSyncFiles(State& state, const Record& request) {
    FileTable table(state, relocated(state, request));
    const auto files = parseAllFiles(request.optional("AllFiles").value_or(""));
    table.keepOnly(files);
    for (const FileDescription& file : files) {
        if (!table.find(file.fullPath)) {
            table.saved(file);
        }
    }
    return done();
}

} // namespace webservice
