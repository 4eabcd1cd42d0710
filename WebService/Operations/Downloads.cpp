#include "WebService/Operations/Downloads.h"

#include "WebService/Operations/FileTable.h"

namespace webservice {

namespace {

/// The identifier under the key, of a request that waits for its content.
std::int64_t requireWaiting(Database& db, const Record& request) {
    const std::int64_t id = request.id("FileRequestID");
    Query row = db.query("SELECT state FROM requests WHERE id = ?1", id);
    if (!row.next())
        throw RequestError("UnknownRequest", "there is no file request " + request.text("FileRequestID"));
    if (row.text(0) != "waiting")
        throw RequestError("NotWaiting", "file request " + request.text("FileRequestID") + " is " + row.text(0));
    return id;
}

} // namespace

boost::json::object getTopFileRequest(const Record& request, Database& db) {
    const Computer computer = requireComputer(db, request, "FromComputerID");
    Query row = db.query("SELECT requests.id, full_path, from_shared, file FROM requests "
                         "JOIN files ON files.id = requests.file "
                         "WHERE requests.computer = ?1 AND state = 'waiting' ORDER BY position LIMIT 1",
                         computer.id);
    if (!row.next())
        return nothing();
    return {{"FilePath", row.text(1)},
            {"FileRequestID", row.text(0)},
            {"ReturnStatus", "0"},
            {"TransitDownloadPath", "\\Transit\\Downloads\\" + row.text(0)},
            {"FromShared", flag(row.integer(2) != 0)},
            {"FileID", row.text(3)},
            {"ByteStartPos", "0"},
            {"error", nullptr}};
}

boost::json::object updateFileRequest(const Record& request, Database& db) {
    const std::int64_t id = request.id("FileRequestID");
    if (db.run("UPDATE requests SET state = 'done' WHERE id = ?1", id) == 0)
        throw RequestError("UnknownRequest", "there is no file request " + request.text("FileRequestID"));
    return done();
}

boost::json::object checkFileExistsInDownloads(const Record& request, const Cloud& cloud) {
    const auto file = cloud.find(request.text("FilePath"));
    return {{"ByteStartPos", std::to_string(file ? file->size : 0)}, {"ReturnStatus", "0"}};
}

boost::json::object updateBSDownloadStreamStarted(const Record& request, Database& db) {
    const std::int64_t id = requireWaiting(db, request);
    Query row = db.query("SELECT min(position) FROM requests WHERE state = 'waiting' AND "
                         "computer = (SELECT computer FROM requests WHERE id = ?1)",
                         id);
    row.next();
    db.run("UPDATE requests SET position = ?2 WHERE id = ?1", id, row.integer(0) - 1);
    return done();
}

boost::json::object updateBSDownloadStreamFailed(const Record& request, Database& db) {
    const std::int64_t id = requireWaiting(db, request);
    Query row = db.query("SELECT max(position) FROM requests WHERE state = 'waiting' AND "
                         "computer = (SELECT computer FROM requests WHERE id = ?1)",
                         id);
    row.next();
    db.run("UPDATE requests SET position = ?2 WHERE id = ?1", id, row.integer(0) + 1);
    return done();
}

boost::json::object getTopFileDeleteRequest(const Record& request, Database& db) {
    const Computer computer = requireComputer(db, request, "FromComputerID");
    Query row = db.query("SELECT id, path FROM deletions WHERE computer = ?1 AND state = 'waiting' "
                         "ORDER BY id LIMIT 1",
                         computer.id);
    if (!row.next())
        return {{"ReturnStatus", "1"}};
    return {{"DeleteRequestID", row.text(0)}, {"FilePath", row.text(1)}, {"ReturnStatus", "0"}};
}

boost::json::object updateBSFileDeleted(const Record& request, Database& db) {
    if (db.run("UPDATE deletions SET state = 'done' WHERE id = ?1", request.id("DeleteRequestID")) == 0)
        throw RequestError("UnknownDeletion", "there is no delete request " + request.text("DeleteRequestID"));
    return success();
}

} // namespace webservice
