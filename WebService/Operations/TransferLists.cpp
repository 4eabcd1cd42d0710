// The response of GetSharedFilesTransferData, which is four lists.

#include "WebService/Operations/Accounts.h"
#include "WebService/Operations/SharedFiles.h"

#include <functional>

namespace webservice {

namespace {

boost::json::value column(const Query& row, int index) {
    return orNull(row.optionalText(index));
}

boost::json::string_view columnFlag(const Query& row, int index) {
    return flag(row.integer(index) != 0);
}

constexpr int maxEntries = 1000;
constexpr std::size_t maxListSize = 4 << 20;
constexpr int pageRows = 100;
constexpr std::size_t pageLength = 256 << 10;

/// The rows after an identifier, which is their first column and their order.
using Rows = std::function<Query(std::int64_t id)>;
/// The list's entry for a row, or nothing.
using Entry = std::function<std::optional<boost::json::object>(const Query& row)>;

/// The JSON text of a list. It is made page by page, never as a whole in any other form.
Work<std::string> listOf(Rows rows, Entry entryOf) {
    std::string text = "[";
    std::int64_t last = 0;
    int entries = 0;
    for (bool isMore = true; isMore && entries < maxEntries && text.size() < maxListSize;) {
        isMore = false;
        const std::size_t pageEnd = text.size() + pageLength;
        int read = 0;
        for (Query row = rows(last); !isMore && row.next();) {
            last = row.integer(0);
            if (const auto entry = entryOf(row)) {
                text.append(entries == 0 ? "" : ",").append(boost::json::serialize(*entry));
                ++entries;
            }
            isMore = ++read == pageRows || text.size() >= pageEnd;
        }
        co_await pause();
    }
    co_return text += ']';
}

Query filesToSend(Database& db, const Computer& computer, std::int64_t id) {
    return db.query("SELECT t.id, t.change_type, f.is_cloud, t.from_computer, t.full_path, files.full_path, "
                    "t.is_file, files.computer = t.from_computer, t.new_full_path, t.file, t.prev_folder_file, "
                    "c.is_cloud, t.to_computer, t.xml_file FROM transfers AS t "
                    "JOIN files ON files.id = t.file JOIN computers AS f ON f.id = t.from_computer "
                    "JOIN computers AS c ON c.id = t.to_computer "
                    "WHERE t.from_computer = ?1 AND t.state = 'waiting' AND t.id > ?2 ORDER BY t.id",
                    computer.id, id);
}

boost::json::object fileToSend(const Query& row, const Computer& computer) {
    return {{"QuenmarkPath", computer.quenmarkPath},
            {"ChangeType", column(row, 1)},
            {"FromCloud", columnFlag(row, 2)},
            {"FromComputerID", column(row, 3)},
            {"FullPath", column(row, 4)},
            {"FullPathfromFileTable", column(row, 5)},
            {"IsFile", columnFlag(row, 6)},
            {"IsOwnerToSubscriber", columnFlag(row, 7)},
            {"NewFullPath", column(row, 8)},
            {"OwnerFileID", column(row, 9)},
            {"PrevFolderFileID", column(row, 10)},
            {"SharedFileTransferID", column(row, 0)},
            {"ToCloud", columnFlag(row, 11)},
            {"ToComputerID", column(row, 12)},
            {"UserComputerID", column(row, 12)},
            {"XMLFileID", column(row, 13)}};
}

Query filesToReceive(Database& db, const Computer& computer, std::int64_t id) {
    return db.query("SELECT t.id, t.change_type, f.is_cloud, t.from_computer, t.full_path, files.full_path, "
                    "t.is_file, files.computer = t.from_computer, t.new_full_path, users.nick_name, t.file, "
                    "t.prev_folder_file, t.saved_file, t.xml_file, t.to_computer FROM transfers AS t "
                    "JOIN files ON files.id = t.file JOIN computers AS f ON f.id = t.from_computer "
                    "JOIN users ON users.id = f.user "
                    "WHERE t.to_computer = ?1 AND t.state = 'sent' AND t.id > ?2 ORDER BY t.id",
                    computer.id, id);
}

boost::json::object fileToReceive(const Query& row, const Computer& computer) {
    return {{"ChangeType", column(row, 1)},
            {"FromCloud", columnFlag(row, 2)},
            {"FromComputerID", column(row, 3)},
            {"FullPath", column(row, 4)},
            {"FullPathFromFileTable", column(row, 5)},
            {"IsFile", columnFlag(row, 6)},
            {"IsOwnerToSubscriber", columnFlag(row, 7)},
            {"NewFullPath", column(row, 8)},
            {"NickName", column(row, 9)},
            {"OwnerFileID", column(row, 10)},
            {"PrevFolderFileID", column(row, 11)},
            {"SavedFileID", column(row, 12)},
            {"SharedFileTransferID", column(row, 0)},
            {"SharedFolderFileID", column(row, 11)},
            {"ToCloud", flag(computer.isCloud)},
            {"UserComputerID", column(row, 14)},
            {"XMLFileID", column(row, 13)},
            {"ToComputerID", column(row, 14)}};
}

/// The computers of other users that share something with a computer of this user.
Query ownerComputers(Database& db, std::int64_t user, std::int64_t id) {
    return db.query("SELECT m.id, o.quenmark_path, o.id, o.is_cloud, users.mail, users.nick_name, users.id, "
                    "(SELECT id FROM computers WHERE user = o.user AND is_cloud), o.last_seen IS NOT NULL "
                    "FROM computer_maps AS m JOIN computers AS o ON o.id = m.owner "
                    "JOIN computers AS s ON s.id = m.subscriber JOIN users ON users.id = o.user "
                    "WHERE s.user = ?1 AND o.user <> ?1 AND m.id > ?2 ORDER BY m.id",
                    user, id);
}

boost::json::object ownerComputer(const Query& row) {
    return {{"QuenmarkPath", column(row, 1)},      {"CloudPath", "\\Cloud\\" + row.text(7)},
            {"ComputerID", column(row, 2)},        {"IsAdmin", "False"},
            {"IsCloud", columnFlag(row, 3)},       {"MailID", column(row, 4)},
            {"NickName", column(row, 5)},          {"Status", row.integer(8) != 0 ? "Seen" : "Registered"},
            {"UserComputerMapID", column(row, 0)}, {"UserID", column(row, 6)}};
}

/// The computer's folders; those that were shared, themselves or by a file that names them as its folder, have a state.
Query sharedFolders(Database& db, const Computer& computer, std::int64_t id) {
    return db.query("SELECT files.id, "
                    "(SELECT max(state IN ('waiting', 'sent')) FROM transfers WHERE file = files.id "
                    "AND from_computer = ?1), "
                    "(SELECT max(state IN ('waiting', 'sent')) FROM transfers WHERE "
                    "prev_folder_file = CAST(files.id AS TEXT) AND from_computer = ?1) "
                    "FROM files WHERE computer = ?1 AND present AND NOT is_file AND id > ?2 ORDER BY id",
                    computer.id, id);
}

std::optional<boost::json::object> sharedFolder(const Query& row) {
    if (row.isNull(1) && row.isNull(2))
        return std::nullopt;
    const bool isPending = row.integer(1) != 0 || row.integer(2) != 0;
    return boost::json::object{{"FileID", column(row, 0)}, {"SharedStatus", isPending ? "Pending" : "Shared"}};
}

} // namespace

Work<Response> getSharedFilesTransferData(const boost::json::value& body, Database& db) {
    const Record request(body);
    const User user = requireUser(db, request);
    const Computer computer = requireComputer(db, request);
    if (computer.user != user.id)
        throw RequestError("WrongUser", "computer " + std::to_string(computer.id) + " belongs to another user");
    std::string text = R"({"FileToTransfer":)";
    text += co_await listOf([&](std::int64_t id) { return filesToSend(db, computer, id); },
                            [&](const Query& row) { return fileToSend(row, computer); });
    text += R"(,"OwnerComputers":)";
    text += co_await listOf([&](std::int64_t id) { return ownerComputers(db, user.id, id); }, &ownerComputer);
    text += R"(,"RecFileFromTransfer":)";
    text += co_await listOf([&](std::int64_t id) { return filesToReceive(db, computer, id); },
                            [&](const Query& row) { return fileToReceive(row, computer); });
    text += R"(,"ReturnStatus":"0","SharedfoldersWithStatus":)";
    text += co_await listOf([&](std::int64_t id) { return sharedFolders(db, computer, id); }, &sharedFolder);
    co_return jsonResponse(200, std::move(text += '}'));
}

} // namespace webservice
