// Downloads.svc: contents asked for, the stream that brings them, and deletions asked for.

#include "Support/TwoUsers.h"
#include "WebService/OperationTable.h"

#include <set>

namespace webservice::test {

namespace {

class Downloads : public WithTwoUsers {
protected:
    void SetUp() override {
        sync(R"({"ChangeType":"Created","FullPath":"a.txt","ComputerID":"2"})");
        sync(R"({"ChangeType":"Created","FullPath":"b.txt","ComputerID":"2"})");
    }
};

constexpr const char* fromTwo = R"({"FromComputerID":"2"})";
constexpr const char* requestA =
    R"({"FilePath":"a.txt","FileRequestID":"1","ReturnStatus":"0","TransitDownloadPath":"\\Transit\\Downloads\\1",)"
    R"("FromShared":"False","FileID":"1","ByteStartPos":"0","error":null})";
constexpr const char* requestB =
    R"({"FilePath":"b.txt","FileRequestID":"2","ReturnStatus":"0","TransitDownloadPath":"\\Transit\\Downloads\\2",)"
    R"("FromShared":"False","FileID":"2","ByteStartPos":"0","error":null})";

} // namespace

TEST_F(Downloads, ReturnTheSameRequestUntilItIsDone) {
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestA);
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestA);
    expect("Downloads.svc/UpdateFileRequest",
           R"({"FilePath":"a.txt","FileRequestID":"1","TransitDownloadPath":"x","Attachment":"text"})", accepted);
    expect("Downloads.svc/UpdateFileRequest", R"({"FileRequestID":"1"})", accepted);
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestB);
    expect("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"3"})", nothingWaits);
    expectRefusal("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
    expectRefusal("Downloads.svc/UpdateFileRequest", R"({"FileRequestID":"9"})", "UnknownRequest",
                  "there is no file request 9");
}

TEST_F(Downloads, PutARequestBehindTheOthersWhenItsStreamFails) {
    expect("Downloads.svc/UpdateBSDownloadStreamStarted", R"({"FileRequestID":"1"})", accepted);
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestA);
    expect("Downloads.svc/UpdateBSDownloadStreamFailed", R"({"FileRequestID":"1"})", accepted);
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestB);
    expect("Downloads.svc/UpdateBSDownloadStreamStarted", R"({"FileRequestID":"1"})", accepted);
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestA);
    call("Downloads.svc/UpdateFileRequest", R"({"FileRequestID":"1"})");
    for (const char* operation :
         {"Downloads.svc/UpdateBSDownloadStreamStarted", "Downloads.svc/UpdateBSDownloadStreamFailed"}) {
        expectRefusal(operation, R"({"FileRequestID":"1"})", "NotWaiting", "file request 1 is done");
        expectRefusal(operation, R"({"FileRequestID":"9"})", "UnknownRequest", "there is no file request 9");
    }
}

TEST_F(Downloads, AcceptTheFailureReportsPathWithAStrayCharacter) {
    const Response response = request(
        "POST", "/QuenmarkRestService/Downloads.svc/UpdateBSDownloadStreamFailed%EF%BF%BC", R"({"FileRequestID":"1"})");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, accepted);
    for (const char* other :
         {"UpdateBSDownloadStreamStarted%EF%BF%BC", "UpdateBSDownloadStreamFailed%EF%BF%BC%EF%BF%BC",
          "UpdateBSDownloadStreamFailed%EF%BF%BD"})
        EXPECT_EQ(request("POST", "/QuenmarkRestService/Downloads.svc/" + std::string(other), "{}").status, 404);
}

TEST_F(Downloads, KeepTheContentThatIsStreamedUp) {
    expect("Downloads.svc/CheckFileExistsInDownloads", R"({"FilePath":"a.txt"})",
           R"({"ByteStartPos":"0","ReturnStatus":"0"})");
    const std::string content = std::string(100'000, 'x') + std::string("\0\r\n", 3);
    EXPECT_EQ(upload("1", "a.txt", content), accepted);
    expect("Downloads.svc/CheckFileExistsInDownloads", R"({"FilePath":"a.txt"})",
           R"({"ByteStartPos":"100003","ReturnStatus":"0"})");
    expect("MAC/SharedFiles.svc/IsFileExistsInCloud", R"({"StrFullPath":"\\a.txt"})",
           R"({"IsExists":"True","ReturnStatus":"0","error":null})");
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestB);
    EXPECT_TRUE(contentOf(folder.path("data/cloud/1")) == content);
    EXPECT_EQ(upload("1", "a.txt", "shorter"), accepted);
    EXPECT_EQ(contentOf(folder.path("data/cloud/1")), "shorter");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("data/incoming")));
    expectRefusal("Downloads.svc/CheckFileExistsInDownloads", "{}", "MissingKey", "\"FilePath\" is missing");
}

TEST_F(Downloads, KeepAContentThatWasNotRequested) {
    EXPECT_EQ(upload("4711", "\\100%41 ü.txt", "hello"), accepted);
    Query row = state->db.query("SELECT user, full_path, size, request, transit_path FROM cloud");
    ASSERT_TRUE(row.next());
    EXPECT_TRUE(row.isNull(0));
    EXPECT_EQ(row.text(1), "\\100%41 ü.txt");
    EXPECT_EQ(row.integer(2), 5);
    EXPECT_EQ(row.text(3), "4711");
    EXPECT_EQ(row.text(4), "\\Transit\\x");
    EXPECT_EQ(contentOf(folder.path("data/cloud/1")), "hello");
}

TEST_F(Downloads, RefuseAContentThatDoesNotSayWhatItIs) {
    EXPECT_EQ(upload("1", "", "hello"),
              R"({"ReturnStatus":"1","error":{"code":"MissingKey","message":"\"FilePath\" is missing"}})");
    EXPECT_EQ(upload("", "a.txt", "hello"),
              R"({"ReturnStatus":"1","error":{"code":"MissingKey","message":"\"FileRequestID\" is missing"}})");
    expect("Downloads.svc/GetTopFileRequest", fromTwo, requestA);
}

TEST_F(Downloads, NameADeletionUntilItIsReported) {
    sync(R"({"ChangeType":"Deleted","FullPath":"a.txt","ComputerID":"2"})");
    sync(R"({"ChangeType":"Deleted","FullPath":"b.txt","ComputerID":"2"})");
    for (int i = 0; i < 2; ++i)
        expect("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":"3"})",
               R"({"DeleteRequestID":"1","FilePath":"\\a.txt","ReturnStatus":"0"})");
    for (int i = 0; i < 2; ++i)
        expect("Downloads.svc/UpdateBSFileDeleted", R"({"DeleteRequestID":"1"})", R"({"ReturnStatus":"0"})");
    expect("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":"3"})",
           R"({"DeleteRequestID":"2","FilePath":"\\b.txt","ReturnStatus":"0"})");
    expect("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":"2"})", R"({"ReturnStatus":"1"})");
    expectRefusal("Downloads.svc/GetTopFileDeleteRequest", R"({"FromComputerID":"9"})", "UnknownComputer",
                  "there is no computer 9");
    expectRefusal("Downloads.svc/UpdateBSFileDeleted", R"({"DeleteRequestID":"9"})", "UnknownDeletion",
                  "there is no delete request 9");
}

TEST_F(Downloads, StandInATableOfThirtyNineOperations) {
    std::set<std::string_view> paths;
    for (const Operation& operation : operations())
        paths.insert(operation.path);
    EXPECT_EQ(paths.size(), 39U);
    EXPECT_EQ(operations().size(), 39U);
}

TEST_F(Downloads, GoToTheReceiverOfATransferThatWasSentBefore) {
    sync(R"({"ComputerID":"2","ChangeType":"Created","FullPath":"a.txt"})");
    EXPECT_EQ(call("SyncFileChanges.svc/InsertSharedFilesTransfer",
                   R"({"FileID":"1","ComputerID":"2","UserComputerID":"5"})"),
              accepted);
    EXPECT_EQ(call("MAC/SharedFiles.svc/UpdateFileSendReceived", R"({"SharedFileTransferID":"1"})"), accepted);
    EXPECT_EQ(next("5"), "");
    EXPECT_EQ(upload("1", "a.txt", "content"), accepted);
    EXPECT_EQ(next("5"), "\\a.txt");
}

} // namespace webservice::test
