// MAC/SharedFiles.svc: files that one computer sends to another.

#include "Support/TwoUsers.h"

namespace webservice::test {

namespace {

class ATransfer : public WithTwoUsers {
protected:
    /// Ann's computer 2 shares the folder 1 and the file 2 in it with Bob's computer 5, as the transfers 1 and 2.
    void SetUp() override {
        call("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Docs\\","ComputerID":"2"})");
        call("SyncFileChanges.svc/InsertFile", R"({"FullPath":"Docs\\a.txt","ComputerID":"2"})");
        expect("SyncFileChanges.svc/InsertSharedFilesTransfer",
               R"({"FileID":"1","ComputerID":"2","UserComputerID":"5","FullPath":"Docs","IsFile":"False",)"
               R"("ChangeType":"Created"})",
               accepted);
        expect("SyncFileChanges.svc/InsertSharedFilesTransfer",
               R"({"FileID":"2","ComputerID":"2","UserComputerID":"5","OldFullPath":"Docs\\old.txt",)"
               R"("FullPath":"Docs\\a.txt","IsFile":"True","BaseSystemFileID":"77","PrevFolderFileID":"1",)"
               R"("ChangeType":"Changed","StrXMLFileID":"x1"})",
               accepted);
    }

    std::string lists(std::string_view user, std::string_view computer) {
        return call("MAC/SharedFiles.svc/GetSharedFilesTransferData",
                    R"({"UserID":")" + std::string(user) + R"(","ComputerID":")" + std::string(computer) + R"("})");
    }

    std::string stateOf(int transfer) {
        Query row = state->db.query("SELECT state FROM transfers WHERE id = ?1", transfer);
        row.next();
        return row.text(0);
    }

    void expectTransfer(std::string_view operation, std::string_view response) {
        expect("MAC/SharedFiles.svc/" + std::string(operation), R"({"SharedFileTransferID":"2"})", response);
    }
    void expectWrongState(std::string_view operation, std::string_view present) {
        expectRefusal("MAC/SharedFiles.svc/" + std::string(operation), R"({"SharedFileTransferID":"2"})", "WrongState",
                      "transfer 2 is " + std::string(present));
    }
};

constexpr const char* statusOnly = R"({"ReturnStatus":"0"})";

} // namespace

TEST_F(ATransfer, IsListedForItsSenderWhileItWaits) {
    EXPECT_EQ(lists("1", "2"),
              R"({"FileToTransfer":[{"QuenmarkPath":"Users\\ann","ChangeType":"Created","FromCloud":"False",)"
              R"("FromComputerID":"2","FullPath":"Docs","FullPathfromFileTable":"Docs","IsFile":"False",)"
              R"("IsOwnerToSubscriber":"True","NewFullPath":null,"OwnerFileID":"1","PrevFolderFileID":null,)"
              R"("SharedFileTransferID":"1","ToCloud":"False","ToComputerID":"5","UserComputerID":"5",)"
              R"("XMLFileID":null},{"QuenmarkPath":"Users\\ann","ChangeType":"Changed","FromCloud":"False",)"
              R"("FromComputerID":"2","FullPath":"Docs\\a.txt","FullPathfromFileTable":"Docs\\a.txt","IsFile":"True",)"
              R"("IsOwnerToSubscriber":"True","NewFullPath":null,"OwnerFileID":"2","PrevFolderFileID":"1",)"
              R"("SharedFileTransferID":"2","ToCloud":"False","ToComputerID":"5","UserComputerID":"5",)"
              R"("XMLFileID":"x1"}],"OwnerComputers":[],"RecFileFromTransfer":[],"ReturnStatus":"0",)"
              R"("SharedfoldersWithStatus":[{"FileID":"1","SharedStatus":"Pending"}]})");
}

TEST_F(ATransfer, IsListedForItsReceiverOnceItIsSent) {
    const std::string owner =
        R"("OwnerComputers":[{"QuenmarkPath":"Users\\ann","CloudPath":"\\Cloud\\1","ComputerID":"2",)"
        R"("IsAdmin":"False","IsCloud":"False","MailID":"ann@example.org","NickName":"annie","Status":"Registered",)"
        R"("UserComputerMapID":"1","UserID":"1"}])";
    EXPECT_EQ(lists("2", "5"), R"({"FileToTransfer":[],)" + owner +
                                   R"(,"RecFileFromTransfer":[],"ReturnStatus":"0","SharedfoldersWithStatus":[]})");
    expect("MAC/SharedFiles.svc/UpdateSendFileToTransfer",
           R"({"ChangeType":"1","SharedFileTransferID":"2","FullPathFromFileTable":"Docs\\a.txt","ToCloud":"False",)"
           R"("IsFile":"True","ToComputerID":"5","NewFullPath":"Docs\\b.txt","OwnerFileID":"2","FromComputerID":"2",)"
           R"("QuenmarkPath":"Users\\ann","FileNameToSend":"b.txt","Length":"5"})",
           accepted);
    EXPECT_EQ(lists("2", "5"),
              R"({"FileToTransfer":[],)" + owner +
                  R"(,"RecFileFromTransfer":[{"ChangeType":"1","FromCloud":"False","FromComputerID":"2",)"
                  R"("FullPath":"Docs\\a.txt","FullPathFromFileTable":"Docs\\a.txt","IsFile":"True",)"
                  R"("IsOwnerToSubscriber":"True","NewFullPath":"Docs\\b.txt","NickName":"annie","OwnerFileID":"2",)"
                  R"("PrevFolderFileID":"1","SavedFileID":null,"SharedFileTransferID":"2","SharedFolderFileID":"1",)"
                  R"("ToCloud":"False","UserComputerID":"5","XMLFileID":"x1","ToComputerID":"5"}],)"
                  R"("ReturnStatus":"0","SharedfoldersWithStatus":[]})");
}

TEST_F(ATransfer, GoesFromWaitingThroughSentAndReceivedToDeleted) {
    EXPECT_EQ(stateOf(2), "waiting");
    expectTransfer("UpdateBSSendStreamStarted", statusOnly);
    EXPECT_EQ(stateOf(2), "waiting");
    expectTransfer("UpdateFileSendReceived", accepted);
    EXPECT_EQ(stateOf(2), "sent");
    expectTransfer("UpdateBSReceiveStreamStarted", statusOnly);
    EXPECT_EQ(stateOf(2), "sent");
    expect("MAC/SharedFiles.svc/UpdateFileReceived", R"({"SharedFileTransferID":"2","IsExists":"False"})", accepted);
    EXPECT_EQ(stateOf(2), "received");
    expect("MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer",
           R"({"IsExists":"False","SavedFileID":"99","SharedFileTransferID":"2"})", accepted);
    EXPECT_EQ(stateOf(2), "deleted");
    Query row = state->db.query("SELECT saved_file FROM transfers WHERE id = 2");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "99");
}

TEST_F(ATransfer, ThatFailsIsTriedAgain) {
    expectTransfer("UpdateFileSendReceived", accepted);
    expectTransfer("UpdateBSSendStreamFailed", statusOnly);
    EXPECT_EQ(stateOf(2), "waiting");
    expectTransfer("UpdateFileSendReceived", accepted);
    expectTransfer("UpdateBSReceiveStreamFailed", statusOnly);
    EXPECT_EQ(stateOf(2), "sent");
    expectTransfer("UpdateFileReceived", accepted);
    EXPECT_EQ(stateOf(2), "received");
}

TEST_F(ATransfer, DoesNotGoBackOrSkipAState) {
    for (const char* operation : {"UpdateBSReceiveStreamStarted", "UpdateBSReceiveStreamFailed", "UpdateFileReceived",
                                  "DeleteReceivedFileFromTransfer"})
        expectWrongState(operation, "waiting");
    expectTransfer("UpdateFileSendReceived", accepted);
    expectTransfer("UpdateFileSendReceived", accepted);
    expectWrongState("UpdateBSSendStreamStarted", "sent");
    expectWrongState("DeleteReceivedFileFromTransfer", "sent");
    expectTransfer("UpdateFileReceived", accepted);
    expectTransfer("UpdateFileReceived", accepted);
    for (const char* operation :
         {"UpdateBSSendStreamStarted", "UpdateBSSendStreamFailed", "UpdateFileSendReceived", "UpdateSendFileToTransfer",
          "UpdateBSReceiveStreamStarted", "UpdateBSReceiveStreamFailed"})
        expectWrongState(operation, "received");
    expectTransfer("DeleteReceivedFileFromTransfer", accepted);
    expectTransfer("DeleteReceivedFileFromTransfer", accepted);
    for (const char* operation : {"UpdateFileExists", "UpdateFileReceived", "UpdateFileSendReceived"})
        expectWrongState(operation, "deleted");
    EXPECT_EQ(stateOf(2), "deleted");
}

TEST_F(ATransfer, OfAFileThatExistsAlreadyNeedsNoSending) {
    expectTransfer("UpdateFileExists", accepted);
    EXPECT_EQ(stateOf(2), "received");
    expect("MAC/SharedFiles.svc/UpdateFileReceived", R"({"SharedFileTransferID":"1","IsExists":"True"})", accepted);
    EXPECT_EQ(stateOf(1), "received");
    EXPECT_NE(lists("1", "2").find(R"("SharedfoldersWithStatus":[{"FileID":"1","SharedStatus":"Shared"}])"),
              std::string::npos);
}

TEST_F(ATransfer, MustBeKnown) {
    for (const char* operation :
         {"UpdateFileExists", "UpdateFileSendReceived", "UpdateSendFileToTransfer", "UpdateFileReceived",
          "DeleteReceivedFileFromTransfer", "CheckFileExistsInTransfers", "UpdateBSSendStreamStarted",
          "UpdateBSSendStreamFailed", "UpdateBSReceiveStreamStarted", "UpdateBSReceiveStreamFailed"}) {
        const std::string path = "MAC/SharedFiles.svc/" + std::string(operation);
        expectRefusal(path, R"({"SharedFileTransferID":"9"})", "UnknownTransfer", "there is no transfer 9");
        expectRefusal(path, "{}", "MissingKey", "\"SharedFileTransferID\" is missing");
    }
}

TEST_F(ATransfer, IsOfAFileOfTheSenderToAnotherComputer) {
    const char* operation = "SyncFileChanges.svc/InsertSharedFilesTransfer";
    expectRefusal(operation, R"({"FileID":"9","ComputerID":"2","UserComputerID":"5"})", "UnknownFile",
                  "computer 2 has no file 9");
    expectRefusal(operation, R"({"FileID":"2","ComputerID":"3","UserComputerID":"5"})", "UnknownFile",
                  "computer 3 has no file 2");
    expectRefusal(operation, R"({"FileID":"2","ComputerID":"2","UserComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
    expectRefusal(operation, R"({"FileID":"2","ComputerID":"2","UserComputerID":"2"})", "SameComputer",
                  "a computer does not send files to itself");
}

TEST_F(ATransfer, CarriesAContentOfTheCloudToItsReceiver) {
    expect("MAC/SharedFiles.svc/CheckFileExistsInTransfers",
           R"({"SharedFileTransferID":"2","FullPathfromFileTable":"Docs\\a.txt"})",
           R"({"ByteStartPos":"0","ReturnStatus":"0"})");
    expect("MAC/SharedFiles.svc/UploadFileWithStream",
           R"({"ComputerID":"2","QuenmarkPath":"Users\\ann","FullPathFromFileTable":"Docs\\a.txt"})", accepted);
    expect("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"2"})",
           R"({"FilePath":"Docs\\a.txt","FileRequestID":"1","ReturnStatus":"0",)"
           R"("TransitDownloadPath":"\\Transit\\Downloads\\1","FromShared":"True","FileID":"2","ByteStartPos":"0",)"
           R"("error":null})");
    EXPECT_EQ(upload("1", "Docs\\a.txt", "hello"), accepted);
    expect("MAC/SharedFiles.svc/CheckFileExistsInTransfers", R"({"SharedFileTransferID":"2"})",
           R"({"ByteStartPos":"5","ReturnStatus":"0"})");
    EXPECT_EQ(acknowledgeAll("5"), std::vector<std::string>());
    expect("MAC/SharedFiles.svc/UpdateSendFileToTransfer",
           R"({"SharedFileTransferID":"2","NewFullPath":"Users\\bob\\Quenmark\\From Ann\\a.txt"})", accepted);
    EXPECT_EQ(acknowledgeAll("5"), std::vector<std::string>({"\\From Ann", "\\From Ann\\a.txt"}));
    EXPECT_EQ(contentOf(folder.path("data/outbox/5/From Ann/a.txt")), "hello");
}

TEST_F(ATransfer, ThatIsSentBeforeItsContentHasArrivedCarriesItOnceItArrives) {
    expect("MAC/SharedFiles.svc/UpdateSendFileToTransfer",
           R"({"SharedFileTransferID":"2","NewFullPath":"Docs\\b.txt"})", accepted);
    EXPECT_EQ(acknowledgeAll("5"), std::vector<std::string>());
    call("MAC/SharedFiles.svc/UploadFileWithStream", R"({"ComputerID":"2","FullPathFromFileTable":"Docs\\a.txt"})");
    EXPECT_EQ(upload("1", "Docs\\a.txt", "hello"), accepted);
    EXPECT_EQ(contentOf(folder.path("data/outbox/5/Docs/b.txt")), "hello");
    EXPECT_EQ(acknowledgeAll("5"), std::vector<std::string>({"\\Docs", "\\Docs\\b.txt"}));
    EXPECT_EQ(stateOf(2), "sent");
    expect("MAC/SharedFiles.svc/UpdateFileReceived", R"({"SharedFileTransferID":"2"})", accepted);
    EXPECT_EQ(upload("1", "Docs\\a.txt", "later"), accepted);
    EXPECT_EQ(acknowledgeAll("5"), std::vector<std::string>());
}

TEST_F(ATransfer, IsPreparedByAStreamOfAFileOfTheTable) {
    expectRefusal("MAC/SharedFiles.svc/UploadFileWithStream",
                  R"({"ComputerID":"2","FullPathFromFileTable":"Docs\\none.txt"})", "UnknownFile",
                  "the computer has no file Docs\\none.txt");
    expectRefusal("MAC/SharedFiles.svc/UploadFileWithStream",
                  R"({"ComputerID":"9","FullPathFromFileTable":"Docs\\a.txt"})", "UnknownComputer",
                  "there is no computer 9");
}

TEST_F(ATransfer, IsMadeOnceForAComputerThatComesLater) {
    call("Registration.svc/RegisterComputer", R"({"UserID":"2","QuenmarkPath":"later"})");
    for (int i = 0; i < 2; ++i)
        expect("Registration.svc/OneTimeSyncOwnersSharedFolders", R"({"ComputerID":"6","UserID":"2"})", accepted);
    Query row =
        state->db.query("SELECT count(*), min(file), max(file), min(state) FROM transfers WHERE to_computer = 6");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.integer(0), 2);
    EXPECT_EQ(row.integer(1), 1);
    EXPECT_EQ(row.integer(2), 2);
    EXPECT_EQ(row.text(3), "waiting");
    expectRefusal("Registration.svc/OneTimeSyncOwnersSharedFolders", R"({"ComputerID":"6","UserID":"1"})", "WrongUser",
                  "computer 6 belongs to another user");
    expectRefusal("MAC/SharedFiles.svc/GetSharedFilesTransferData", R"({"ComputerID":"6","UserID":"1"})", "WrongUser",
                  "computer 6 belongs to another user");
    expectRefusal("MAC/SharedFiles.svc/GetSharedFilesTransferData", R"({"ComputerID":"6","UserID":"9"})", "UnknownUser",
                  "there is no user 9");
}

} // namespace webservice::test
