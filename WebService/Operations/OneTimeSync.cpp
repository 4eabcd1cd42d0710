#include "WebService/Operations/OneTimeSync.h"

#include "WebService/Operations/FileTable.h"
#include "WebService/Operations/JsonBody.h"

namespace webservice {

namespace {

FileDescription entryOf(const boost::json::value& entry) {
    if (entry.is_string())
        return fileAt(std::string(entry.get_string()));
    if (!entry.is_object())
        throw RequestError("WrongType", "an entry of \"AllFiles\" is neither a path nor an object");
    const Record record(entry);
    FileDescription file = fileAt(record.text("FullPath"));
    file.isFile = record.optional("IsFile") ? record.isTrue("IsFile") : file.isFile;
    file.size = record.optional("FileSize");
    file.modified = record.optional("FileModifiedDate");
    file.baseSystemFile = record.optional("BaseSystemFileID");
    return file;
}

constexpr std::size_t maxEntries = 100'000;
constexpr std::size_t pieceSize = 65536;

void add(std::vector<FileDescription>& files, FileDescription file) {
    if (files.size() == maxEntries)
        throw RequestError("TooMany", "\"AllFiles\" has more than " + std::to_string(maxEntries) + " entries", 413);
    files.push_back(std::move(file));
}

Work<std::vector<FileDescription>> parseJsonList(std::string_view text) {
    JsonBody list;
    for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size()))) {
        list.receive(text.substr(0, pieceSize));
        co_await pause();
    }
    std::vector<FileDescription> files;
    for (const boost::json::value& entry : list.value().get_array()) {
        add(files, entryOf(entry));
        co_await pause();
    }
    co_return files;
}

Work<std::vector<FileDescription>> parseAllFiles(std::string_view text) {
    const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    if (text.substr(start).starts_with('['))
        co_return co_await parseJsonList(text);
    std::vector<FileDescription> files;
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (!line.empty())
            add(files, fileAt(std::string(line)));
        co_await pause();
    }
    co_return files;
}

/// The computer, with the path that it has by now.
Computer updatedComputer(Database& db, const Record& request) {
    Computer computer = requireComputer(db, request);
    if (const auto path = request.optional("QuenmarkPath"); path && *path != computer.quenmarkPath) {
        db.run("UPDATE computers SET quenmark_path = ?2 WHERE id = ?1", computer.id, *path);
        computer.quenmarkPath = *path;
    }
    return computer;
}

std::vector<std::int64_t> allComputers(Database& db, std::int64_t user) {
    std::vector<std::int64_t> computers;
    for (Query row = db.query("SELECT id FROM computers WHERE user = ?1 ORDER BY id", user); row.next();)
        computers.push_back(row.integer(0));
    return computers;
}

/// The next transfers to the computer, of files that are still there.
std::vector<std::int64_t> transfersTo(Database& db, std::int64_t computer, std::int64_t behind) {
    std::vector<std::int64_t> transfers;
    for (Query row = db.query("SELECT t.id FROM transfers AS t JOIN files ON files.id = t.file "
                              "WHERE t.to_computer = ?1 AND t.id > ?2 AND files.present ORDER BY t.id LIMIT 300",
                              computer, behind);
         row.next();)
        transfers.push_back(row.integer(0));
    return transfers;
}

/// Makes the same transfer to another computer, unless that has one of the file or sends it itself.
void copyTransfer(Database& db, std::int64_t transfer, std::int64_t computer) {
    db.run("INSERT INTO transfers (file, from_computer, to_computer, is_file, change_type, full_path, "
           "old_full_path, base_system_file, prev_folder_file, xml_file) "
           "SELECT file, from_computer, ?2, is_file, change_type, full_path, old_full_path, base_system_file, "
           "prev_folder_file, xml_file FROM transfers AS t WHERE id = ?1 AND from_computer <> ?2 AND NOT EXISTS "
           "(SELECT 1 FROM transfers WHERE file = t.file AND to_computer = ?2)",
           transfer, computer);
    db.run("INSERT INTO computer_maps (owner, subscriber) SELECT from_computer, ?2 FROM transfers "
           "WHERE id = ?1 AND from_computer <> ?2 ON CONFLICT DO NOTHING",
           transfer, computer);
}

} // namespace

Work<Response> oneTimeSyncOwnersSharedFolders(const boost::json::value& body, Database& db) {
    const Record request(body);
    const User user = requireUser(db, request);
    const Computer computer = requireComputer(db, request);
    if (computer.user != user.id)
        throw RequestError("WrongUser", "computer " + std::to_string(computer.id) + " belongs to another user");
    for (const std::int64_t other : allComputers(db, user.id)) {
        std::int64_t last = 0;
        for (auto page = transfersTo(db, other, last); !page.empty(); page = transfersTo(db, other, last)) {
            for (const std::int64_t transfer : page) {
                co_await pause();
                copyTransfer(db, transfer, computer.id);
                last = transfer;
            }
        }
    }
    co_return jsonResponse(200, boost::json::serialize(done()));
}

Work<Response> transferFilesFromCloudToBaseSystem(const boost::json::value& body, Database& db, Cloud& cloud,
                                                  Delivery& delivery) {
    const Computer computer = updatedComputer(db, Record(body));
    std::int64_t last = 0;
    for (auto page = cloud.filesOf(computer.user, last); !page.empty(); page = cloud.filesOf(computer.user, last)) {
        for (const CloudFile& file : page) {
            co_await pause();
            delivery.deliver(computer.id, file, file.name);
            last = file.id;
        }
    }
    co_return jsonResponse(200, boost::json::serialize(done()));
}

Work<Response> oneTimeSyncFiles(const boost::json::value& body, Database& db, Cloud& cloud, Delivery& delivery) {
    const Record request(body);
    const auto files = co_await parseAllFiles(request.longText("AllFiles"));
    FileTable table(db, cloud, delivery, updatedComputer(db, request));
    co_await table.retainOnly(files);
    for (const FileDescription& file : files) {
        co_await pause();
        if (!table.has(file))
            table.saved(file);
    }
    co_return jsonResponse(200, boost::json::serialize(done()));
}

} // namespace webservice
