#include "WebService/Operations/SyncFileChanges.h"

#include "WebService/Common/Log.h"
#include "WebService/Operations/FileTable.h"

namespace webservice {

namespace {

enum class Change { Created, Deleted, Changed, Renamed };

Change changeOf(const Record& request) {
    const std::string type = request.text("ChangeType");
    if (type == "1" || type == "Created")
        return Change::Created;
    if (type == "2" || type == "Deleted")
        return Change::Deleted;
    if (type == "4" || type == "Changed")
        return Change::Changed;
    if (type == "8" || type == "Renamed")
        return Change::Renamed;
    throw RequestError("UnknownChange", "\"ChangeType\" is Created, Changed, Renamed or Deleted, not " + type);
}

Work<std::int64_t> apply(const Record& request, Database& db, Cloud& cloud, Delivery& delivery) {
    Computer computer = requireComputer(db, request);
    // The computer's folder may have moved since it was registered.
    if (const auto path = request.optional("QuenmarkPath"))
        computer.quenmarkPath = *path;
    FileTable table(db, cloud, delivery, computer);
    const FileDescription file{.fullPath = request.text("FullPath"),
                               .isFile = !request.optional("IsFile") || request.isTrue("IsFile"),
                               .size = request.optional("FileSize"),
                               .modified = request.optional("FileModifiedDate"),
                               .baseSystemFile = request.optional("BaseSystemFileID")};
    switch (changeOf(request)) {
    case Change::Renamed:
        co_return co_await table.renamed(request.text("OldFullPath"), file);
    case Change::Deleted:
        co_return co_await table.deleted(file.fullPath);
    case Change::Created:
    case Change::Changed:
        break;
    }
    co_return table.saved(file);
}

Work<boost::json::object> applied(const boost::json::value& change, Database& db, Cloud& cloud, Delivery& delivery) {
    if (!change.is_object())
        throw RequestError("NotAnObject", "a change is not a JSON object", 400);
    const Record request(change);
    const std::int64_t file = co_await apply(request, db, cloud, delivery);
    co_return boost::json::object{{"FileID", std::to_string(file)},
                                  {"ReturnStatus", "0"},
                                  {"BaseSystemFileID", orNull(request.optional("BaseSystemFileID"))}};
}

/// An error is raised before the first change that it would undo.
Work<boost::json::object> resultOf(const boost::json::value& change, Database& db, Cloud& cloud, Delivery& delivery) {
    try {
        co_return co_await applied(change, db, cloud, delivery);
    } catch (const RequestError& error) {
        logLine("a change of a file has failed: " + std::string(error.what()));
        co_return failed(error);
    }
}

constexpr std::size_t maxChanges = 10'000;

} // namespace

Work<Response> syncFilesInTableAndCloud(const boost::json::value& changes, Database& db, Cloud& cloud,
                                        Delivery& delivery) {
    if (!changes.is_array())
        throw RequestError("NotAList", "the body is not a JSON array", 400);
    if (changes.get_array().size() > maxChanges)
        throw RequestError("TooMany", "the list has more than " + std::to_string(maxChanges) + " changes", 413);
    std::string results = "[";
    for (const boost::json::value& change : changes.get_array()) {
        co_await pause();
        results += results.size() > 1 ? "," : "";
        results += boost::json::serialize(co_await resultOf(change, db, cloud, delivery));
    }
    co_return jsonResponse(200, std::move(results += ']'));
}

boost::json::object insertFile(const Record& request, Database& db, Cloud& cloud, Delivery& delivery) {
    FileTable table(db, cloud, delivery, requireComputer(db, request));
    const std::int64_t file = table.enter(fileAt(request.text("FullPath")));
    boost::json::object response = {{"FileID", std::to_string(file)}};
    response.insert({{"ReturnStatus", "0"}, {"error", nullptr}});
    return response;
}

boost::json::object insertSharedFilesTransfer(const Record& request, Database& db) {
    const Computer from = requireComputer(db, request);
    const Computer to = requireComputer(db, request, "UserComputerID");
    const auto file = findFile(db, request.id("FileID"));
    if (!file || file->computer != from.id || !file->isPresent)
        throw RequestError("UnknownFile",
                           "computer " + std::to_string(from.id) + " has no file " + request.text("FileID"));
    if (from.id == to.id)
        throw RequestError("SameComputer", "a computer does not send files to itself");
    db.run("INSERT INTO computer_maps (owner, subscriber) VALUES (?1, ?2) ON CONFLICT DO NOTHING", from.id, to.id);
    db.run("INSERT INTO transfers (file, from_computer, to_computer, is_file, change_type, full_path, "
           "old_full_path, base_system_file, prev_folder_file, xml_file) "
           "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)",
           file->id, from.id, to.id, request.optional("IsFile") ? request.isTrue("IsFile") : file->isFile,
           request.optional("ChangeType"), request.optional("FullPath").value_or(file->fullPath),
           request.optional("OldFullPath"), request.optional("BaseSystemFileID"), request.optional("PrevFolderFileID"),
           request.optional("StrXMLFileID"));
    return done();
}

} // namespace webservice
