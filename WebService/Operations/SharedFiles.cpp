#include "WebService/Operations/SharedFiles.h"

#include "WebService/Common/WireName.h"
#include "WebService/Operations/FileTable.h"

namespace webservice {

namespace {

struct Transfer {
    std::int64_t id = 0;
    std::int64_t file = 0;
    std::int64_t toComputer = 0;
    std::string state;
    std::optional<std::string> newFullPath;
};

Transfer readTransfer(const Query& row) {
    return {.id = row.integer(0),
            .file = row.integer(1),
            .toComputer = row.integer(2),
            .state = row.text(3),
            .newFullPath = row.optionalText(4)};
}

Transfer requireTransfer(Database& db, const Record& request) {
    Query row = db.query("SELECT id, file, to_computer, state, new_full_path FROM transfers WHERE id = ?1",
                         request.id("SharedFileTransferID"));
    if (!row.next())
        throw RequestError("UnknownTransfer", "there is no transfer " + request.text("SharedFileTransferID"));
    return readTransfer(row);
}

[[noreturn]] void refuseState(const Transfer& transfer) {
    throw RequestError("WrongState", "transfer " + std::to_string(transfer.id) + " is " + transfer.state);
}

void enterState(Database& db, const Transfer& transfer, std::string_view next) {
    db.run("UPDATE transfers SET state = ?2 WHERE id = ?1", transfer.id, next);
}

void deliverTo(Database& db, Delivery& delivery, const Transfer& transfer, const CloudFile& content) {
    const auto receiver = findComputer(db, transfer.toComputer);
    delivery.deliver(transfer.toComputer, content,
                     transfer.newFullPath ? nameWithin(receiver->quenmarkPath, *transfer.newFullPath) : content.name);
}

/// From waiting to sent. A content that is in the cloud is delivered to the receiving computer.
void markSent(Database& db, const Cloud& cloud, Delivery& delivery, const Transfer& transfer) {
    if (transfer.state != "waiting" && transfer.state != "sent")
        refuseState(transfer);
    enterState(db, transfer, "sent");
    const auto file = findFile(db, transfer.file);
    const auto owner = file ? findComputer(db, file->computer) : std::nullopt;
    const auto content = owner ? cloud.find(file->fullPath, owner->user) : std::nullopt;
    if (content && transfer.state == "waiting")
        deliverTo(db, delivery, transfer, *content);
}

/// The transfers of the file that have been sent, after an identifier.
std::vector<Transfer> sentTransfers(Database& db, std::int64_t file, std::int64_t id) {
    std::vector<Transfer> transfers;
    for (Query row = db.query("SELECT id, file, to_computer, state, new_full_path FROM transfers "
                              "WHERE file = ?1 AND state = 'sent' AND id > ?2 ORDER BY id LIMIT 300",
                              file, id);
         row.next();)
        transfers.push_back(readTransfer(row));
    return transfers;
}

} // namespace

Work<> deliverToReceivers(Database& db, Delivery& delivery, std::int64_t file, CloudFile content) {
    std::int64_t last = 0;
    for (auto page = sentTransfers(db, file, last); !page.empty(); page = sentTransfers(db, file, last)) {
        for (const Transfer& transfer : page) {
            co_await pause();
            deliverTo(db, delivery, transfer, content);
            last = transfer.id;
        }
    }
}

boost::json::object updateFileExists(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state == "deleted")
        refuseState(transfer);
    enterState(db, transfer, "received");
    return done();
}

boost::json::object updateFileSendReceived(const Record& request, Database& db, Cloud& cloud, Delivery& delivery) {
    markSent(db, cloud, delivery, requireTransfer(db, request));
    return done();
}

boost::json::object uploadFileWithStream(const Record& request, Database& db, Cloud& cloud, Delivery& delivery) {
    FileTable table(db, cloud, delivery, requireComputer(db, request));
    const auto file = table.find(request.text("FullPathFromFileTable"));
    if (!file || !file->isFile)
        throw RequestError("UnknownFile", "the computer has no file " + request.text("FullPathFromFileTable"));
    table.request(*file, true);
    return done();
}

boost::json::object updateSendFileToTransfer(const Record& request, Database& db, Cloud& cloud, Delivery& delivery) {
    Transfer transfer = requireTransfer(db, request);
    db.run("UPDATE transfers SET change_type = coalesce(?2, change_type), is_file = coalesce(?3, is_file), "
           "new_full_path = coalesce(?4, new_full_path) WHERE id = ?1",
           transfer.id, request.optional("ChangeType"),
           request.optional("IsFile") ? std::optional(request.isTrue("IsFile")) : std::nullopt,
           request.optional("NewFullPath"));
    if (const auto newFullPath = request.optional("NewFullPath"))
        transfer.newFullPath = newFullPath;
    markSent(db, cloud, delivery, transfer);
    return done();
}

boost::json::object isFileExistsInCloud(const Record& request, const Cloud& cloud) {
    const bool exists = cloud.find(request.text("StrFullPath")).has_value();
    return {{"IsExists", flag(exists)}, {"ReturnStatus", "0"}, {"error", nullptr}};
}

boost::json::object updateFileReceived(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    const bool exists = request.isTrue("IsExists");
    if (transfer.state == "deleted" || (transfer.state == "waiting" && !exists))
        refuseState(transfer);
    enterState(db, transfer, "received");
    return done();
}

boost::json::object deleteReceivedFileFromTransfer(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state != "received" && transfer.state != "deleted" && !request.isTrue("IsExists"))
        refuseState(transfer);
    db.run("UPDATE transfers SET saved_file = coalesce(?2, saved_file) WHERE id = ?1", transfer.id,
           request.optional("SavedFileID"));
    enterState(db, transfer, "deleted");
    return done();
}

boost::json::object checkFileExistsInTransfers(const Record& request, Database& db, const Cloud& cloud) {
    const Transfer transfer = requireTransfer(db, request);
    const auto file = findFile(db, transfer.file);
    const auto owner = findComputer(db, file->computer);
    const auto content = cloud.find(request.optional("FullPathfromFileTable").value_or(file->fullPath), owner->user);
    return {{"ByteStartPos", std::to_string(content ? content->size : 0)}, {"ReturnStatus", "0"}};
}

boost::json::object updateBSSendStreamStarted(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state != "waiting")
        refuseState(transfer);
    return success();
}

boost::json::object updateBSSendStreamFailed(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state != "waiting" && transfer.state != "sent")
        refuseState(transfer);
    enterState(db, transfer, "waiting");
    return success();
}

boost::json::object updateBSReceiveStreamStarted(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state != "sent")
        refuseState(transfer);
    return success();
}

boost::json::object updateBSReceiveStreamFailed(const Record& request, Database& db) {
    const Transfer transfer = requireTransfer(db, request);
    if (transfer.state != "sent")
        refuseState(transfer);
    return success();
}

} // namespace webservice
