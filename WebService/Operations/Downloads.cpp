#include "WebService/Operations/Downloads.h"

#include "WebService/Operations/FileTable.h"

namespace webservice {

namespace {

/// The identifier under the key, of a request that waits for its content.
std::int64_t requireWaiting(State& state, const Record& request) {
    const std::int64_t id = request.id("FileRequestID");
    Query row = state.db.query("SELECT state FROM requests WHERE id = ?1", id);
    if (!row.next())
        throw Refusal("UnknownRequest", "there is no file request " + request.text("FileRequestID"));
    if (row.text(0) != "waiting")
        throw Refusal("NotWaiting", "file request " + request.text("FileRequestID") + " is " + row.text(0));
    return id;
}

} // namespace

boost::json::object getTopFileRequest(State& state, const Record& request) {
    const Computer computer = requireComputer(state.db, request, "FromComputerID");
    Query row = state.db.query("SELECT requests.id, full_path, from_shared, file FROM requests "
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

boost::json::object updateFileRequest(State& state, const Record& request) {
    const std::int64_t id = request.id("FileRequestID");
    if (state.db.run("UPDATE requests SET state = 'done' WHERE id = ?1", id) == 0)
        throw Refusal("UnknownRequest", "there is no file request " + request.text("FileRequestID"));
    return done();
}

boost::json::object checkFileExistsInDownloads(State& state, const Record& request) {
    const auto file = state.cloud.find(request.text("FilePath"));
    return {{"ByteStartPos", std::to_string(file ? file->size : 0)}, {"ReturnStatus", "0"}};
}

boost::json::object updateBSDownloadStreamStarted(State& state, const Record& request) {
    const std::int64_t id = requireWaiting(state, request);
    Query row = state.db.query("SELECT min(position) FROM requests WHERE state = 'waiting' AND "
                               "computer = (SELECT computer FROM requests WHERE id = ?1)",
                               id);
    row.next();
    state.db.run("UPDATE requests SET position = ?2 WHERE id = ?1", id, row.integer(0) - 1);
    return done();
}

boost::json::object updateBSDownloadStreamFailed(State& state, const Record& request) {
    const std::int64_t id = requireWaiting(state, request);
    Query row = state.db.query("SELECT max(position) FROM requests WHERE state = 'waiting' AND "
                               "computer = (SELECT computer FROM requests WHERE id = ?1)",
                               id);
    row.next();
    state.db.run("UPDATE requests SET position = ?2 WHERE id = ?1", id, row.integer(0) + 1);
    return done();
}

boost::json::object getTopFileDeleteRequest(State& state, const Record& request) {
    const Computer computer = requireComputer(state.db, request, "FromComputerID");
    Query row = state.db.query("SELECT id, path FROM deletions WHERE computer = ?1 AND state = 'waiting' "
                               "ORDER BY id LIMIT 1",
                               computer.id);
    if (!row.next())
        return {{"ReturnStatus", "1"}};
    return {{"DeleteRequestID", row.text(0)}, {"FilePath", row.text(1)}, {"ReturnStatus", "0"}};
}

boost::json::object updateBSFileDeleted(State& state, const Record& request) {
    if (state.db.run("UPDATE deletions SET state = 'done' WHERE id = ?1", request.id("DeleteRequestID")) == 0)
        throw Refusal("UnknownDeletion", "there is no delete request " + request.text("DeleteRequestID"));
    return success();
}

} // namespace webservice
