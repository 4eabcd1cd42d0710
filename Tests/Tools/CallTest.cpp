// quenmark call: what goes over the wire, what is printed, and the exit status of each way it can end.

#include "ToolFixture.h"

#include <filesystem>

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

TEST_F(ACall, EndsWith66WhereTheFileOfAnUploadCannotBeRead) {
    std::filesystem::create_directory(folder.path("folder"));
    for (const auto& [name, error] : {std::pair("none", "No such file or directory"), {"folder", "Is a directory"}}) {
        const auto result = run({"call", "UpdateFileRequestWithStream", "--file", folder.path(name)});
        EXPECT_EQ(result.status, 66);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "quenmark: " + folder.path(name) + ": " + error + "\n");
    }
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(ACall, EndsWith78WhereTheDeploymentSettingsAreMalformed) {
    const auto path = folder.write("a", "");
    home.setDeployment("{\"serviceHost\":\"" + server.host() + "\",}");
    const std::string start = "quenmark: " + home.config().path("quenmark/deployment.json") + ": Not JSON: ";
    for (const auto& arguments : {std::vector<std::string>{"call", "GetTopFileUpload"}, {"push", path, "--to", "7"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, 78);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.errors.starts_with(start)) << result.errors;
        EXPECT_NE(result.errors.find(" at byte "), std::string::npos) << result.errors;
    }
    EXPECT_EQ(server.requests().size(), 0U);
    server.enqueue(HttpReply::status(201, "{}"));
    EXPECT_EQ(run({"push", path, "--to", "7", "--server", server.host()}).status, 0) << "the settings play no part";
    EXPECT_EQ(run({"call", "NoOperation"}).status, 64) << "the command line comes first";
}

TEST_F(ACall, EndsWith69WhereThereIsNoNetwork) {
    deploy("192.0.2.1");
    const auto result =
        TestSupport::runCommand({"unshare", "--map-root-user", "--net", QUENMARK_PROGRAM, "call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 69) << result.errors;
    EXPECT_EQ(result.errors, "quenmark: not reachable: there is no network\n");
    EXPECT_EQ(result.output, "");
}

TEST_F(ACall, EndsWith69WhereNoConnectionIsMade) {
    server.stopListening();
    const auto refused = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(refused.status, 69);
    EXPECT_EQ(refused.output, "");
    EXPECT_TRUE(refused.errors.starts_with("quenmark: the transfer failed: ")) << refused.errors;
    EXPECT_TRUE(refused.errors.ends_with(" (-1004)\n")) << refused.errors;
    deploy("nowhere.invalid");
    const auto nowhere = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(nowhere.status, 69);
    EXPECT_TRUE(nowhere.errors.ends_with(" (-1003)\n")) << nowhere.errors;
}

TEST_F(ACall, EndsWith74WhereTheResponseIsCutOff) {
    server.enqueue(pollTarget, HttpReply::json(R"({"ReturnStatus":"0"})").cutAfter(60).thenReset());
    const auto result = run({"call", "GetTopFileUpload"});
    EXPECT_EQ(result.status, 74);
    EXPECT_TRUE(result.errors.ends_with(" (-1005)\n")) << result.errors;
}

TEST_F(ACall, NamesTheLimitOfAResponseThatIsHeldInMemory) {
    for (const char* operation : {"GetTopFileUpload", "GetTopFileUploadWithStream"}) {
        server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\nx"));
        const auto result = run({"call", operation});
        EXPECT_EQ(result.status, 74);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "quenmark: the transfer failed: The response is too long to be held in memory: more "
                                 "than 64 MiB (-1103)\n");
    }
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

TEST_F(ACall, PrintsWireKeysSoThatTheyGoIntoTheNextCall) {
    server.enqueue(pollTarget,
                   HttpReply::json(R"({"ReturnStatus":"0","FileName":"\\a","FileUploadID":"7","Other":1})"));
    const auto result = run({"call", "GetTopFileUpload", "--wire"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output,
              "{\n  \"FileName\" : \"\\\\a\",\n  \"FileUploadID\" : \"7\",\n  \"ReturnStatus\" : \"0\"\n}\n");
}

TEST_F(ACall, PrintsTheWireKeysOfListsInARecord) {
    server.setHandler(
        [](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0","FileToTransfer":[{"NewFullPath":"a"}]})"); });
    const auto byProperty = run({"call", "GetSharedFilesTransferData"});
    const auto byKey = run({"call", "GetSharedFilesTransferData", "--wire"});
    EXPECT_EQ(byProperty.status, 0) << byProperty.errors;
    EXPECT_EQ(byKey.status, 0) << byKey.errors;
    EXPECT_NE(byProperty.output.find("\"fileToTransferArray\" : ["), std::string::npos) << byProperty.output;
    EXPECT_NE(byKey.output.find("\"FileToTransfer\" : [\n    {\n      \"NewFullPath\" : \"a\"\n    }\n  ]"),
              std::string::npos)
        << byKey.output;
}

TEST_F(ACall, EndsWith76WhereTheStatusIsToBeZeroAndIsNot) {
    const std::vector<std::pair<std::string, std::string>> responses{
        {R"({"ReturnStatus":"1"})", "1"}, {R"({"ReturnStatus":0})", "0"}, {"{}", "(null)"}};
    for (const auto& [response, shown] : responses) {
        server.setHandler([text = response](const auto&) { return HttpReply::json(text); });
        EXPECT_EQ(run({"call", "GetTopFileUpload"}).status, 0) << "without --fail";
        const auto result = run({"call", "GetTopFileUpload", "--fail"});
        EXPECT_EQ(result.status, 76);
        EXPECT_TRUE(result.output.starts_with("{")) << "the response is printed all the same";
        EXPECT_EQ(result.errors, "quenmark: ReturnStatus is " + shown + "\n");
    }
    server.setHandler([](const auto&) { return HttpReply::json(R"({"ReturnStatus":"0"})"); });
    EXPECT_EQ(run({"call", "GetTopFileUpload", "--fail"}).status, 0);
}

TEST_F(ACall, PrintsTheHeaderFieldsOfAStream) {
    server.setHandler([](const auto&) {
        return HttpReply::status(200, "data", {{"ReturnStatus", "5"}, {"FileName", "\\a\u0085b"}});
    });
    const auto result = run({"call", "GetTopFileUploadWithStream", "--headers"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "data");
    EXPECT_NE(("\n" + result.errors).find("\nReturnStatus: 5\nFileName: \\a\\xC2\\x85b\n"), std::string::npos)
        << result.errors;
    EXPECT_EQ(run({"call", "GetTopFileUploadWithStream"}).errors, "");
    const auto failed = run({"call", "GetTopFileUploadWithStream", "--fail"});
    EXPECT_EQ(failed.status, 76);
    EXPECT_EQ(failed.output, "data");
    EXPECT_EQ(failed.errors, "quenmark: ReturnStatus is 5\n");
}

TEST_F(ACall, LeavesNoEmptyFileWhereNothingWasStreamed) {
    server.setHandler([](const auto&) { return HttpReply::status(200, ""); });
    EXPECT_EQ(run({"call", "GetTopFileUploadWithStream", "--output", folder.path("out")}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(folder.path("out")));
}

} // namespace ToolTest
