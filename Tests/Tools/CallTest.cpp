// quenmark call: what goes over the wire, what is printed, and the exit status of each way it can end.

#include "ToolFixture.h"

namespace ToolTest {

using TestSupport::HttpReply;

namespace {

constexpr const char* pollTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUpload";
constexpr const char* streamTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream";
constexpr const char* syncTarget = "/QuenmarkRestService/SyncFileChanges.svc/SyncFilesInTableAndCloud";
constexpr const char* uploadTarget = "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream";

} // namespace

class ACall : public AQuenmarkTool {};

TEST_F(ACall, PostsTheKeysAndPrintsTheRecordByItsProperties) {
    server.enqueue(pollTarget, HttpReply::json(R"({"ReturnStatus":"0","FileName":"\\Docs\\a.txt","FileUploadID":7,
        "IsFile":null,"Unknown":1,"error":{"why":["none"]}})"));
    const auto result = run({"call", "asyncGetTopFileUpload", "ToComputerID=17"});
    EXPECT_EQ(result.output, "{\n"
                             "  \"fileName\" : \"\\\\Docs\\\\a.txt\",\n"
                             "  \"fileUploadId\" : 7,\n"
                             "  \"isFile\" : null,\n"
                             "  \"returnStatus\" : \"0\",\n"
                             "  \"error\" : {\n"
                             "    \"why\" : [\n"
                             "      \"none\"\n"
                             "    ]\n"
                             "  }\n"
                             "}\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "POST");
    EXPECT_EQ(server.requests()[0].body, "{\n  \"ToComputerID\" : \"17\"\n}");
}

TEST_F(ACall, LeavesOutKeysThatAreNotGivenAndSendsEmptyOnes) {
    server.enqueue("/QuenmarkRestService/MAC/ErrorLog.svc/LogError", HttpReply::json(R"({"ReturnStatus":"0"})"));
    const auto result = run({"call", "asyncLogError", "ErrorMessage=a=b \xC3\xA9", "UserID="});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "{\n  \"returnStatus\" : \"0\"\n}\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, "{\n  \"ErrorMessage\" : \"a=b \xC3\xA9\",\n  \"UserID\" : \"\"\n}");
}

TEST_F(ACall, FindsTheOperationWithoutAsyncAndInAnyCase) {
    for (const char* name : {"GETTOPFILEUPLOAD", "gettopfileupload", "ASYNCGetTopFileUpload"}) {
        server.enqueue(pollTarget, HttpReply::json("{}"));
        const auto result = run({"call", name});
        EXPECT_EQ(result.status, 0) << name << ": " << result.errors;
        EXPECT_EQ(result.output, "{}\n");
    }
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(ACall, CountsAResponseOfAnyHttpStatusThatIsJson) {
    server.enqueue(pollTarget, HttpReply::status(500, R"({"ReturnStatus":"1"})"));
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.output, "{\n  \"returnStatus\" : \"1\"\n}\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(ACall, PrintsAListForAListOfChanges) {
    server.enqueue(syncTarget, HttpReply::json(R"([{"FileID":1,"ReturnStatus":"0"},{"FileID":"2"}])"));
    const auto result = runWithInput(R"([{"FileID":"1","IsFile":true},{"FileID":2,"FullPath":null}])",
                                     {"call", "SyncFilesInTableAndCloud", "--json", "-"});
    EXPECT_EQ(result.output, "[\n"
                             "  {\n"
                             "    \"fileId\" : 1,\n"
                             "    \"returnStatus\" : \"0\"\n"
                             "  },\n"
                             "  {\n"
                             "    \"fileId\" : \"2\"\n"
                             "  }\n"
                             "]\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, "[\n"
                                         "  {\n"
                                         "    \"IsFile\" : \"True\",\n"
                                         "    \"FileID\" : \"1\"\n"
                                         "  },\n"
                                         "  {\n"
                                         "    \"FileID\" : \"2\"\n"
                                         "  }\n"
                                         "]");
}

TEST_F(ACall, MakesAListOfOneFromKeysAndAnEmptyListWithoutAny) {
    server.enqueue(syncTarget, HttpReply::json("[]"));
    EXPECT_EQ(run({"call", "SyncFilesInTableAndCloud", "FileID=9"}).output, "[]\n");
    server.enqueue(syncTarget, HttpReply::json("[]"));
    EXPECT_EQ(run({"call", "SyncFilesInTableAndCloud"}).status, 0);
    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests()[0].body, "[\n  {\n    \"FileID\" : \"9\"\n  }\n]");
    EXPECT_EQ(server.requests()[1].body, "[]");
}

TEST_F(ACall, PrintsTheRecordsInTheListsOfARecord) {
    server.enqueue("/QuenmarkRestService/MAC/SharedFiles.svc/GetSharedFilesTransferData",
                   HttpReply::json(R"({"ReturnStatus":"0","OwnerComputers":[{"MailID":"a@b"}]})"));
    const auto result = run({"call", "GetSharedFilesTransferData", "UserID=1"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("\"mailId\" : \"a@b\""), std::string::npos) << result.output;
}

TEST_F(ACall, PrintsNullForABareStatusThatIsNotThere) {
    server.enqueue("/QuenmarkRestService/MAC/SharedFiles.svc/UploadFileWithStream", HttpReply::json("{}"));
    const auto result = run({"call", "UploadFileWithStream", "ComputerID=1"});
    EXPECT_EQ(result.output, "null\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(ACall, WritesARawStreamToStandardOutputByteByByte) {
    const std::string bytes("\0\xFF\r\n\x1B{}", 7);
    server.enqueue(streamTarget, HttpReply::ok(bytes));
    const auto result = run({"call", "GetTopFileUploadWithStream", "ToComputerID=17"});
    EXPECT_EQ(result.output, bytes);
    EXPECT_EQ(result.status, 0);
}

TEST_F(ACall, WritesTheResponseToTheOutputFile) {
    const std::string bytes(3 << 20, 'q');
    server.enqueue(streamTarget, HttpReply::ok(bytes));
    const auto result = run({"call", "GetTopFileUploadWithStream", "--output", folder.path("item")});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(folder.read("item"), bytes);
}

TEST_F(ACall, EndsWith73WhereTheOutputFileCannotBeMade) {
    server.enqueue(streamTarget, HttpReply::ok("x"));
    const auto result = run({"call", "GetTopFileUploadWithStream", "--output", folder.path("none/item")});
    EXPECT_EQ(result.status, 73);
    EXPECT_EQ(result.errors, "quenmark: " + folder.path("none/item") + ": No such file or directory\n");
}

TEST_F(ACall, SendsTheFileOfAnUpload) {
    const std::string file = folder.write("report.bin", std::string(100000, 'r'));
    server.enqueue(uploadTarget, HttpReply::json(R"({"ReturnStatus":"0"})"));
    const auto result =
        run({"call", "UpdateFileRequestWithStream", "FileRequestID=3", "TransitDownloadPath=t\\3", "--file", file});
    EXPECT_EQ(result.output, "{\n  \"ReturnStatus\" : \"0\"\n}\n");
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    const auto& request = server.requests()[0];
    EXPECT_EQ(request.body, std::string(100000, 'r'));
    EXPECT_EQ(request.header("FileRequestID"), "3");
    EXPECT_EQ(request.header("TransitDownloadPath"), "t\\3");
    std::string wirePath = file.substr(1);
    std::replace(wirePath.begin(), wirePath.end(), '/', '\\');
    EXPECT_EQ(request.header("FilePath"), wirePath);
}

TEST_F(ACall, EndsWith74WhereTheFileOfAnUploadIsMissing) {
    const auto result = run({"call", "UpdateFileRequestWithStream", "--file", folder.path("none")});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find("the transfer failed"), std::string::npos) << result.errors;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ACall, EndsWith69WhereThereIsNoNetwork) {
    deploy("192.0.2.1");
    const auto result =
        TestSupport::runCommand({"unshare", "--map-root-user", "--net", QUENMARK_PROGRAM, "call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 69) << result.errors;
    EXPECT_EQ(result.errors, "quenmark: not reachable: there is no network\n");
    EXPECT_EQ(result.output, "");
}

TEST_F(ACall, EndsWith74WhereTheServerRefuses) {
    server.stopListening();
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the transfer failed: ")) << result.errors;
    EXPECT_TRUE(result.errors.ends_with(" (-1004)\n")) << result.errors;
}

TEST_F(ACall, EndsWith74WhereTheResponseIsCutOff) {
    server.enqueue(pollTarget, HttpReply::json(R"({"ReturnStatus":"0"})").cutAfter(60).thenReset());
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 74);
    EXPECT_TRUE(result.errors.ends_with(" (-1005)\n")) << result.errors;
}

TEST_F(ACall, EndsWith74ForThePathThatFormsNoUrl) {
    const auto result = run({"call", "updateBSDownloadStreamFailed", "FileRequestID=1"});
    EXPECT_EQ(result.status, 74);
    EXPECT_TRUE(result.errors.ends_with(" (-1000)\n")) << result.errors;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ACall, EndsWith65ForAValueThatIsNotUtf8) {
    const auto result = run({"call", "GetTopFileUpload", "ToComputerID=a\xFF"});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the request cannot be sent: ")) << result.errors;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ACall, EndsWith76ForAResponseThatIsNotJson) {
    server.enqueue(pollTarget, HttpReply::ok("<html>"));
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 76);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the response is not JSON: ")) << result.errors;
}

TEST_F(ACall, EndsWith70ForAResponseOfTheWrongShape) {
    server.enqueue(pollTarget, HttpReply::json("[]"));
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 70);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("quenmark: the response cannot be read: ")) << result.errors;
}

TEST_F(ACall, EndsWith70ForABareStatusThatIsThere) {
    server.enqueue("/QuenmarkRestService/MAC/SharedFiles.svc/UpdateSendFileToTransfer",
                   HttpReply::json(R"({"ReturnStatus":"0"})"));
    const auto result = run({"call", "updateSendFileToTransfer"});
    EXPECT_EQ(result.status, 70);
    EXPECT_EQ(result.output, "");
}

TEST_F(ACall, EndsWith75WhereNoResponseComesInTime) {
    server.enqueue(pollTarget, HttpReply::silence());
    const auto result = run({"call", "GetTopFileUpload", "--timeout", "0.3"});
    EXPECT_EQ(result.status, 75);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: there was no response in time\n");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(ACall, EndsWith75ForAStreamOnAnOldRelease) {
    deploy(server.host(), 1265.0);
    for (const char* operation : {"GetTopFileUploadWithStream", "UpdateFileRequestWithStream"}) {
        const auto result = run({"call", operation, "--timeout", "0.2"});
        EXPECT_EQ(result.status, 75) << operation;
        EXPECT_EQ(result.errors, "quenmark: there was no response in time\n");
    }
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ACall, EndsWith74WhereStandardOutputIsFull) {
    server.enqueue(pollTarget, HttpReply::json("{}"));
    const auto result =
        TestSupport::runCommand({"sh", "-c", "exec \"$0\" call GetTopFileUpload > /dev/full", QUENMARK_PROGRAM});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.errors, "quenmark: standard output: No space left on device\n");
}

TEST_F(ACall, KeepsTheLogToItselfUnlessVerbose) {
    server.enqueue(pollTarget, HttpReply::json("{}"));
    EXPECT_EQ(run({"call", "GetTopFileUpload", "ToComputerID=1"}).errors, "");
    server.enqueue(pollTarget, HttpReply::json("{}"));
    const auto result = run({"call", "GetTopFileUpload", "ToComputerID=1", "--verbose"});
    EXPECT_NE(result.errors.find("Json String {\n\t  \"ToComputerID\" : \"1\"\n\t}\n"), std::string::npos)
        << result.errors;
    EXPECT_EQ(result.output, "{}\n");
}

} // namespace ToolTest
