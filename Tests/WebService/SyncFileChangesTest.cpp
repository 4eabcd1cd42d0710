// SyncFileChanges.svc: file tables, and what follows from changes for the user's other computers.

#include "Support/TwoUsers.h"

namespace webservice::test {

namespace {

using Names = std::vector<std::string>;

class AChange : public WithTwoUsers {
protected:
    /// What the computer is asked to stream up next: "ID path", or "".
    std::string wanted(std::string_view computer = "2") {
        const std::string response =
            call("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":")" + std::string(computer) + R"("})");
        return field(response, "ReturnStatus") == "0"
                   ? field(response, "FileRequestID") + ' ' + field(response, "FilePath")
                   : "";
    }

    /// What the computer is asked to delete next.
    std::string unwanted(std::string_view computer = "3") {
        return field(
            call("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":")" + std::string(computer) + R"("})"),
            "FilePath");
    }
};

} // namespace

TEST_F(AChange, OfANewFileReturnsItsIdentifier) {
    EXPECT_EQ(sync(R"({"ChangeType":"Created","FullPath":"Users\\ann\\Quenmark\\Docs\\a.txt","FileSize":"5",)"
                   R"("QuenmarkPath":"Users\\ann","IsFile":"True","ComputerID":"2","FileModifiedDate":"2024-03-01",)"
                   R"("BaseSystemFileID":"77"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":"77"}])");
    EXPECT_EQ(sync(R"({"ChangeType":"4","FullPath":"Users\\ann\\Quenmark\\Docs\\a.txt","ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    Query row = state->db.query("SELECT name, size, modified, base_system_file FROM files WHERE id = 1");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "\\Docs\\a.txt");
    EXPECT_EQ(row.text(1), "5");
    EXPECT_EQ(row.text(2), "2024-03-01");
    EXPECT_EQ(row.text(3), "77");
}

TEST_F(AChange, InAListHasItsResultInOrderThoughOthersFail) {
    EXPECT_EQ(call("SyncFileChanges.svc/SyncFilesInTableAndCloud",
                   R"([{"ChangeType":"1","FullPath":"a","ComputerID":"2"},7,)"
                   R"({"ChangeType":"9","FullPath":"b","ComputerID":"2"},)"
                   R"({"ChangeType":"2","FullPath":"c","ComputerID":"2"},)"
                   R"({"ChangeType":"1","FullPath":"d","ComputerID":"9"},)"
                   R"({"ChangeType":"1","FullPath":"e","ComputerID":"3"}])"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null},)"
              R"({"ReturnStatus":"1","error":{"code":"NotAnObject","message":"a change is not a JSON object"}},)"
              R"({"ReturnStatus":"1","error":{"code":"UnknownChange","message":)"
              R"("\"ChangeType\" is Created, Changed, Renamed or Deleted, not 9"}},)"
              R"({"ReturnStatus":"1","error":{"code":"UnknownFile","message":"computer 2 has no file c"}},)"
              R"({"ReturnStatus":"1","error":{"code":"UnknownComputer","message":"there is no computer 9"}},)"
              R"({"FileID":"2","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(call("SyncFileChanges.svc/SyncFilesInTableAndCloud", "[]"), "[]");
    const Response response =
        request("POST", "/QuenmarkRestService/SyncFileChanges.svc/SyncFilesInTableAndCloud", R"({"syncData":[]})");
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body,
              R"({"ReturnStatus":"1","error":{"code":"NotAList","message":"the body is not a JSON array"}})");
}

TEST_F(AChange, OfAFileTravelsToTheUsersOtherComputers) {
    sync(R"({"ChangeType":"Created","FullPath":"Users\\ann\\Quenmark\\Docs\\a.txt","ComputerID":"2"})");
    EXPECT_EQ(wanted(), "1 Users\\ann\\Quenmark\\Docs\\a.txt");
    EXPECT_EQ(upload("1", "Users\\ann\\Quenmark\\Docs\\a.txt", "hello"), accepted);
    EXPECT_EQ(wanted(), "");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Docs", "\\Docs\\a.txt"}));
    EXPECT_EQ(contentOf(folder.path("data/outbox/3/Docs/a.txt")), "hello");
    EXPECT_EQ(acknowledgeAll("2"), Names());
    EXPECT_EQ(acknowledgeAll("5"), Names());
    sync(R"({"ChangeType":"Changed","FullPath":"Users\\ann\\Quenmark\\Docs\\a.txt","ComputerID":"2"})");
    EXPECT_EQ(wanted(), "2 Users\\ann\\Quenmark\\Docs\\a.txt");
    upload("2", "", "");
    upload("2", "Users\\ann\\Quenmark\\Docs\\a.txt", "hello again");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Docs\\a.txt"}));
    EXPECT_EQ(contentOf(folder.path("data/outbox/3/Docs/a.txt")), "hello again");
}

TEST_F(AChange, OfAFolderTravelsAtOnce) {
    EXPECT_EQ(sync(R"({"ChangeType":"Created","FullPath":"\\Docs\\Sub","IsFile":"False","ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(wanted(), "");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Docs", "\\Docs\\Sub"}));
}

TEST_F(AChange, AsksForAContentOnlyOnce) {
    for (int i = 0; i < 3; ++i)
        sync(R"({"ChangeType":"Changed","FullPath":"a","ComputerID":"2"})");
    EXPECT_EQ(wanted(), "1 a");
    upload("1", "a", "x");
    EXPECT_EQ(wanted(), "");
}

TEST_F(AChange, ThatDeletesAsksTheOthersToDelete) {
    sync(R"({"ChangeType":"Created","FullPath":"Docs","IsFile":"False","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"Docs\\a.txt","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"Docs2","ComputerID":"2"})");
    upload("1", "Docs\\a.txt", "x");
    EXPECT_EQ(sync(R"({"ChangeType":"Deleted","FullPath":"Docs","ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(unwanted("3"), "\\Docs");
    EXPECT_EQ(unwanted("2"), "(none)");
    EXPECT_EQ(wanted(), "2 Docs2");
    expect("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"Docs\\a.txt"})",
           R"({"IsExists":"False","ReturnStatus":"0","error":null})");
    EXPECT_EQ(sync(R"({"ChangeType":"Created","FullPath":"Docs\\a.txt","ComputerID":"2"})"),
              R"([{"FileID":"4","ReturnStatus":"0","BaseSystemFileID":null}])");
}

TEST_F(AChange, ThatDeletesCancelsTheRequestForTheContent) {
    sync(R"({"ChangeType":"Created","FullPath":"a","ComputerID":"2"})");
    sync(R"({"ChangeType":"Deleted","FullPath":"a","ComputerID":"2"})");
    EXPECT_EQ(wanted(), "");
    EXPECT_EQ(upload("1", "a", "x"), accepted);
    EXPECT_EQ(acknowledgeAll("3"), Names());
}

TEST_F(AChange, ThatDeletesWithdrawsWhatTheOthersHaveNotFetched) {
    sync(R"({"ChangeType":"Created","FullPath":"Docs\\a.txt","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"Docs","IsFile":"False","ComputerID":"2"})");
    upload("1", "Docs\\a.txt", "x");
    EXPECT_EQ(take("3"), "\\Docs");
    sync(R"({"ChangeType":"Deleted","FullPath":"Docs","ComputerID":"2"})");
    EXPECT_EQ(acknowledgeAll("3"), Names());
    EXPECT_EQ(unwanted("3"), "\\Docs");
}

TEST_F(AChange, ThatCreatesWhatWasDeletedWithdrawsTheDeletion) {
    sync(R"({"ChangeType":"Created","FullPath":"a","ComputerID":"2"})");
    sync(R"({"ChangeType":"Deleted","FullPath":"a","ComputerID":"2"})");
    EXPECT_EQ(unwanted("3"), "\\a");
    sync(R"({"ChangeType":"Created","FullPath":"a","ComputerID":"2"})");
    upload("2", "a", "new");
    EXPECT_EQ(unwanted("3"), "(none)");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\a"}));
}

TEST_F(AChange, ThatRenamesKeepsTheIdentifierAndTheContent) {
    sync(R"({"ChangeType":"Created","FullPath":"Docs","IsFile":"False","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"Docs\\a.txt","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"Docs\\b.txt","ComputerID":"2"})");
    upload("1", "Docs\\a.txt", "hello");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Docs", "\\Docs\\a.txt"}));
    EXPECT_EQ(sync(R"({"ChangeType":"Renamed","OldFullPath":"Docs","FullPath":"Papers","IsFile":"False",)"
                   R"("ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Papers", "\\Papers\\a.txt"}));
    EXPECT_EQ(contentOf(folder.path("data/outbox/3/Papers/a.txt")), "hello");
    EXPECT_EQ(unwanted("3"), "\\Docs");
    EXPECT_EQ(wanted(), "2 Papers\\b.txt");
    expect("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Papers\\a.txt","ComputerID":"2"})",
           R"({"FileID":"2","ReturnStatus":"0","error":null})");
}

TEST_F(AChange, ThatRenamesOntoAnotherFileReplacesIt) {
    sync(R"({"ChangeType":"Created","FullPath":"a","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"b","ComputerID":"2"})");
    EXPECT_EQ(sync(R"({"ChangeType":"8","OldFullPath":"a","FullPath":"b","ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(wanted(), "1 b");
    EXPECT_EQ(unwanted("3"), "\\a");
    EXPECT_EQ(sync(R"({"ChangeType":"8","OldFullPath":"a","FullPath":"c","ComputerID":"2"})"),
              R"([{"ReturnStatus":"1","error":{"code":"UnknownFile","message":"computer 2 has no file a"}}])");
}

TEST_F(AChange, OfAPathThatCannotBeNamedStaysInTheCloud) {
    EXPECT_EQ(sync(R"({"ChangeType":"Created","FullPath":"..\\..\\etc\\passwd","ComputerID":"2"})"),
              R"([{"FileID":"1","ReturnStatus":"0","BaseSystemFileID":null}])");
    EXPECT_EQ(upload("1", "..\\..\\etc\\passwd", "x"), accepted);
    EXPECT_EQ(acknowledgeAll("3"), Names());
    expect("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"..\\..\\etc\\passwd"})",
           R"({"IsExists":"True","ReturnStatus":"0","error":null})");
}

TEST_F(AChange, SucceedsWhereSomethingIsInTheWay) {
    folder.write("data/outbox/3/Docs", "a file in place of the folder");
    sync(R"({"ChangeType":"Created","FullPath":"Docs\\a.txt","ComputerID":"2"})");
    EXPECT_EQ(upload("1", "Docs\\a.txt", "x"), accepted);
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Docs"}));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
}

TEST_F(AChange, EntersAFileOnceByInsertFile) {
    expect("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Docs\\a.txt","ComputerID":"2"})",
           R"({"FileID":"1","ReturnStatus":"0","error":null})");
    expect("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Docs\\a.txt","ComputerID":"2"})",
           R"({"FileID":"1","ReturnStatus":"0","error":null})");
    expect("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Docs\\a.txt","ComputerID":"3"})",
           R"({"FileID":"2","ReturnStatus":"0","error":null})");
    EXPECT_EQ(wanted(), "");
    expectRefusal("SyncFileChanges.svc/InsertFile", R"({"FullPath":"a","ComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
    expectRefusal("SyncFileChanges.svc/InsertFile", R"({"ComputerID":"2"})", "MissingKey", "\"FullPath\" is missing");
}

TEST_F(AChange, OfEverythingAtOnceBringsTheTableUpToDate) {
    sync(R"({"ChangeType":"Created","FullPath":"old","ComputerID":"2"})");
    sync(R"({"ChangeType":"Created","FullPath":"kept","ComputerID":"2"})");
    upload("2", "kept", "x");
    expect("Registration.svc/OneTimeSyncFiles",
           R"({"AllFiles":"kept\r\nnew.txt\nDocs\\\n\n","ComputerID":"2","QuenmarkPath":"Users\\ann"})", accepted);
    EXPECT_EQ(wanted(), "3 new.txt");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\kept", "\\Docs"}));
    EXPECT_EQ(unwanted("3"), "(none)");
    expect("Registration.svc/OneTimeSyncFiles",
           R"({"AllFiles":"[\"kept\",{\"FullPath\":\"Sub\",\"IsFile\":\"False\"}]","ComputerID":"2"})", accepted);
    EXPECT_EQ(wanted(), "");
    EXPECT_EQ(acknowledgeAll("3"), Names({"\\Sub"}));
    expectRefusal("Registration.svc/OneTimeSyncFiles", R"({"AllFiles":"[7]","ComputerID":"2"})", "WrongType",
                  "an entry of \"AllFiles\" is neither a path nor an object");
    expectRefusal("Registration.svc/OneTimeSyncFiles", R"({"AllFiles":"a","ComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
}

TEST_F(AChange, ReachesAComputerThatRegistersLater) {
    sync(R"({"ChangeType":"Created","FullPath":"Users\\ann\\Quenmark\\a.txt","ComputerID":"2"})");
    upload("1", "Users\\ann\\Quenmark\\a.txt", "hello");
    call("Registration.svc/RegisterComputer", R"({"UserID":"1","QuenmarkPath":"elsewhere"})");
    EXPECT_EQ(acknowledgeAll("6"), Names());
    expect("Registration.svc/TransferFilesFromCloudToBaseSystem", R"({"ComputerID":"6","QuenmarkPath":"moved"})",
           accepted);
    EXPECT_EQ(acknowledgeAll("6"), Names({"\\a.txt"}));
    expect("Registration.svc/TransferFilesFromCloudToBaseSystem", R"({"ComputerID":"6"})", accepted);
    EXPECT_EQ(acknowledgeAll("6"), Names());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
    expectRefusal("Registration.svc/TransferFilesFromCloudToBaseSystem", R"({"ComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
}

TEST_F(AChange, IsFoundInASizeOrDateThatOneTimeSyncFilesTells) {
    const auto asks = [this](std::string_view size, std::string_view date) {
        expect("Registration.svc/OneTimeSyncFiles",
               R"({"ComputerID":"2","AllFiles":" \r\n[{\"FullPath\":\"a\",\"FileSize\":\")" + std::string(size) +
                   R"(\",\"FileModifiedDate\":\")" + std::string(date) + R"(\"}]"})",
               accepted);
        const std::string asked = call("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"2"})");
        if (field(asked, "ReturnStatus") == "0") {
            call("Downloads.svc/UpdateFileRequest", R"({"FileRequestID":)" + field(asked, "FileRequestID") + "}");
            return field(asked, "FilePath");
        }
        return std::string("nothing");
    };
    EXPECT_EQ(asks("1", "d"), "a");
    EXPECT_EQ(asks("1", "d"), "nothing");
    EXPECT_EQ(asks("2", "d"), "a");
    EXPECT_EQ(asks("2", "e"), "a");
    EXPECT_EQ(asks("2", "e"), "nothing");
}

} // namespace webservice::test
