// No query reads a whole table, however much has come together in it.

#include "Support/TwoUsers.h"

#include <sqlite3.h>

#include <filesystem>

namespace webservice::test {

namespace {

class TheQueries : public WithTwoUsers {
protected:
    void post(std::string_view operation, std::string_view json) {
        EXPECT_EQ(field(call(operation, json), "ReturnStatus"), "0") << operation << ' ' << json;
    }

    /// Makes every query that there is, or nearly.
    void useEverything() {
        request("PUT", "/outbox/7/Docs/a", "x");
        request("PUT", "/outbox/7/Docs/a", "xy");
        next("7");
        request("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream", R"({"ToComputerID":"7"})");
        post("Uploads.svc/UpdateBSUploadStreamStarted", R"({"FileUploadID":"1"})");
        acknowledgeAll("7");
        folder.remove("data/outbox/7/Docs");
        restart();
        for (const char* path : {"a", "folder\\x", "folder\\y"})
            sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":")" + std::string(path) + "\"}");
        sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"folder","IsFile":"False"})");
        const std::string json = call("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"2"})");
        post("Downloads.svc/UpdateBSDownloadStreamStarted", R"({"FileRequestID":"1"})");
        post("Downloads.svc/UpdateBSDownloadStreamFailed", R"({"FileRequestID":"1"})");
        upload("1", "a", "content");
        sync(R"({"ComputerID":"2","ChangeType":"Renamed","OldFullPath":"a","FullPath":"b"})");
        post("SyncFileChanges.svc/InsertSharedFilesTransfer",
             R"({"FileID":"1","ComputerID":"2","UserComputerID":"5","PrevFolderFileID":"4"})");
        post("MAC/SharedFiles.svc/GetSharedFilesTransferData", R"({"UserID":"1","ComputerID":"2"})");
        post("MAC/SharedFiles.svc/UpdateFileSendReceived", R"({"SharedFileTransferID":"1"})");
        post("MAC/SharedFiles.svc/CheckFileExistsInTransfers", R"({"SharedFileTransferID":"1"})");
        post("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"b"})");
        post("Registration.svc/OneTimeSyncOwnersSharedFolders", R"({"UserID":"2","ComputerID":"5"})");
        post("Registration.svc/TransferFilesFromCloudToBaseSystem", R"({"ComputerID":"3"})");
        post("Registration.svc/OneTimeSyncFiles", R"({"ComputerID":"2","AllFiles":"b\nfolder\nfolder\\x\nc"})");
        sync(R"({"ComputerID":"2","ChangeType":"Deleted","FullPath":"folder"})");
        call("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":"3"})");
        post("Downloads.svc/UpdateBSFileDeleted", R"({"DeleteRequestID":"1"})");
        post("UpdateSystemTime.svc/UpdateComputerStatus", R"({"ComputerID":"2","VersionNumber":"1.2"})");
        post("Registration.svc/SendPasswordToMailID", R"({"MailID":"ann@example.org"})");
        for (const char* page :
             {"/status", "/status?computer=7", "/mails?to=ann@example.org", "/activate?code=x", "/password?code=x"})
            request("GET", page);
        for (const char* list : {"computers", "items", "users", "files", "file-requests", "transfers", "mails",
                                 "mails?order=newest", "errors", "errors?order=newest"})
            EXPECT_EQ(request("GET", "/api/" + std::string(list)).status, 200) << list;
        for (const char* action : {"/api/items/1/withdraw", "/api/items/1/offer", "/api/computers/7/clear"})
            request("POST", action);
    }
};

/// The steps by which SQLite would run a text of SQL on this database.
std::vector<std::string> planOf(const std::filesystem::path& database, const std::string& sql) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(database.c_str(), &db), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, ("EXPLAIN QUERY PLAN " + sql).c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
    std::vector<std::string> steps;
    while (sqlite3_step(statement) == SQLITE_ROW)
        steps.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 3)));
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return steps;
}

bool has(const std::string& sql, std::string_view part) {
    return sql.find(part) != std::string::npos;
}

/// What has few rows for each computer; and the mails, all of which are shown. The children of a new row of `uploads`
/// would be searched for only if a deferred constraint had been violated, and there is none.
bool mayScan(const std::string& sql) {
    return has(sql, "FROM upload_counts") || has(sql, "FROM mails") || has(sql, "DISTINCT version") ||
           sql.starts_with("INSERT INTO uploads");
}

/// One of at most two rows, and the computers that share something with a user.
bool maySort(const std::string& sql) {
    return has(sql, "UNION") || has(sql, "FROM computer_maps");
}

} // namespace

TEST_F(TheQueries, AreServedFromIndexes) {
    useEverything();
    const auto statements = state->db.statements();
    EXPECT_GT(statements.size(), 60U);
    for (const std::string& sql : statements) {
        if (mayScan(sql) || !has(sql, "SELECT"))
            continue;
        for (const std::string& step : planOf(folder.path("data/state.db"), sql)) {
            EXPECT_FALSE(step.starts_with("SCAN") && !has(step, "CONSTANT ROW") && !has(step, "SCAN (subquery"))
                << step << "\n  in " << sql;
            EXPECT_TRUE(step != "USE TEMP B-TREE FOR ORDER BY" || maySort(sql)) << sql;
        }
    }
}

} // namespace webservice::test
