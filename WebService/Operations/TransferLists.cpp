// The answer of GetSharedFilesTransferData, which is four lists.

#include "WebService/Operations/Accounts.h"
#include "WebService/Operations/SharedFiles.h"

namespace webservice {

namespace {

boost::json::value column(const Query& row, int index) {
    return orNull(row.optionalText(index));
}

boost::json::string_view columnFlag(const Query& row, int index) {
    return flag(row.integer(index) != 0);
}

boost::json::array filesToSend(Database& db, const Computer& computer) {
    Query row = db.query("SELECT t.id, t.change_type, f.is_cloud, t.from_computer, t.full_path, files.full_path, "
                         "t.is_file, files.computer = t.from_computer, t.new_full_path, t.file, t.prev_folder_file, "
                         "c.is_cloud, t.to_computer, t.xml_file FROM transfers AS t "
                         "JOIN files ON files.id = t.file JOIN computers AS f ON f.id = t.from_computer "
                         "JOIN computers AS c ON c.id = t.to_computer "
                         "WHERE t.from_computer = ?1 AND t.state = 'waiting' ORDER BY t.id",
                         computer.id);
    boost::json::array list;
    while (row.next()) {
        list.push_back({{"QuenmarkPath", computer.quenmarkPath},
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
                        {"XMLFileID", column(row, 13)}});
    }
    return list;
}

boost::json::array filesToReceive(Database& db, const Computer& computer) {
    Query row = db.query("SELECT t.id, t.change_type, f.is_cloud, t.from_computer, t.full_path, files.full_path, "
                         "t.is_file, files.computer = t.from_computer, t.new_full_path, users.nick_name, t.file, "
                         "t.prev_folder_file, t.saved_file, t.xml_file, t.to_computer FROM transfers AS t "
                         "JOIN files ON files.id = t.file JOIN computers AS f ON f.id = t.from_computer "
                         "JOIN users ON users.id = f.user "
                         "WHERE t.to_computer = ?1 AND t.state = 'sent' ORDER BY t.id",
                         computer.id);
    boost::json::array list;
    while (row.next()) {
        list.push_back({{"ChangeType", column(row, 1)},
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
                        {"ToComputerID", column(row, 14)}});
    }
    return list;
}

// The computers of other users that share something with a computer of this user.
boost::json::array ownerComputers(Database& db, std::int64_t user) {
    Query row = db.query("SELECT m.id, o.quenmark_path, o.id, o.is_cloud, users.mail, users.nick_name, users.id, "
                         "(SELECT id FROM computers WHERE user = o.user AND is_cloud), o.last_seen IS NOT NULL "
                         "FROM computer_maps AS m JOIN computers AS o ON o.id = m.owner "
                         "JOIN computers AS s ON s.id = m.subscriber JOIN users ON users.id = o.user "
                         "WHERE s.user = ?1 AND o.user <> ?1 ORDER BY m.id",
                         user);
    boost::json::array list;
    while (row.next()) {
        list.push_back({{"QuenmarkPath", column(row, 1)},
                        {"CloudPath", "\\Cloud\\" + row.text(7)},
                        {"ComputerID", column(row, 2)},
                        {"IsAdmin", "False"},
                        {"IsCloud", columnFlag(row, 3)},
                        {"MailID", column(row, 4)},
                        {"NickName", column(row, 5)},
                        {"Status", row.integer(8) != 0 ? "Seen" : "Registered"},
                        {"UserComputerMapID", column(row, 0)},
                        {"UserID", column(row, 6)}});
    }
    return list;
}

// The computer's folders that were shared, themselves or by a file that names them as its folder.
boost::json::array sharedFolders(Database& db, const Computer& computer) {
    Query row = db.query("SELECT files.id, max(t.state IN ('waiting', 'sent')) FROM files "
                         "JOIN transfers AS t ON t.file = files.id OR t.prev_folder_file = CAST(files.id AS TEXT) "
                         "WHERE files.computer = ?1 AND NOT files.is_file AND files.present AND "
                         "t.from_computer = ?1 GROUP BY files.id ORDER BY files.id",
                         computer.id);
    boost::json::array list;
    while (row.next()) {
        list.push_back({{"FileID", column(row, 0)}, {"SharedStatus", row.integer(1) != 0 ? "Pending" : "Shared"}});
    }
    return list;
}

} // namespace

boost::json::object getSharedFilesTransferData(State& state, const Record& request) {
    const User user = requireUser(state.db, request);
    const Computer computer = requireComputer(state.db, request);
    if (computer.user != user.id) {
        throw Refusal("WrongUser", "computer " + std::to_string(computer.id) + " belongs to another user");
    }
    return {{"FileToTransfer", filesToSend(state.db, computer)},
            {"OwnerComputers", ownerComputers(state.db, user.id)},
            {"RecFileFromTransfer", filesToReceive(state.db, computer)},
            {"ReturnStatus", "0"},
            {"SharedfoldersWithStatus", sharedFolders(state.db, computer)}};
}

} // namespace webservice
