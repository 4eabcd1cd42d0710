// Uploads.svc: poll, stream and acknowledgement.

#include "Support/TestState.h"

#include <fcntl.h>

namespace webservice::test {

namespace {

class Uploads : public WithState {
protected:
    Response stream(std::string_view length, std::string_view computer = "7") {
        return request("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream",
                       R"({"ToComputerID":")" + std::string(computer) + R"(","Length":")" + std::string(length) +
                           R"("})");
    }

    std::string poll() { return call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})"); }

    static std::string statusAndBody(const Response& response) {
        return header(response, "ReturnStatus") + ":" + bodyOf(response);
    }
};

constexpr const char* nothing = R"({"ReturnStatus":"1","error":null})";

} // namespace

TEST_F(Uploads, DescribeAFileUntilItIsAcknowledged) {
    folder.write("data/outbox/7/a b ü.txt", "hello");
    const std::string expected = R"({"ReturnStatus":"0","Attachment":null,"FileName":"\\a b ü.txt","FileUploadID":"1",)"
                                 R"("IsFile":"True","ServerPath":"\\7\\a b ü.txt","ToComputerID":"7",)"
                                 R"("TransitUploadPath":"\\Transit\\1","UploadProcessed":"False","error":null})";
    EXPECT_EQ(poll(), expected);
    EXPECT_EQ(poll(), expected);
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload",
                   R"({"FileUploadID":"1","FileName":"\\a b ü.txt",)"
                   R"("ServerPath":"\\7\\a b ü.txt","TransitUploadPath":"\\Transit\\1"})"),
              R"({"ReturnStatus":"0","error":null})");
    EXPECT_EQ(poll(), nothing);
}

TEST_F(Uploads, DescribeAFolder) {
    folder.makeFolder("data/outbox/7/Docs");
    EXPECT_EQ(poll(), R"({"ReturnStatus":"0","Attachment":null,"FileName":"\\Docs","FileUploadID":"1",)"
                      R"("IsFile":"False","ServerPath":"\\7\\Docs","ToComputerID":"7",)"
                      R"("TransitUploadPath":"\\Transit\\1","UploadProcessed":"False","error":null})");
    const Response response = stream("0");
    EXPECT_EQ(statusAndBody(response), "0:");
    EXPECT_EQ(header(response, "IsFile"), "False");
    EXPECT_EQ(header(response, "FileName"), "\\Docs");
}

TEST_F(Uploads, StreamAFileWithItsDescriptionInHeaderFields) {
    folder.write("data/outbox/7/ü.txt", "hello");
    poll();
    const Response response = stream("0");
    EXPECT_EQ(bodyOf(response), "hello");
    const std::vector<std::pair<std::string, std::string>> expected = {{"Content-Type", "application/octet-stream"},
                                                                       {"ReturnStatus", "0"},
                                                                       {"FileName", "\\ü.txt"},
                                                                       {"FileUploadID", "1"},
                                                                       {"IsFile", "True"},
                                                                       {"ServerPath", "\\7\\ü.txt"},
                                                                       {"ToComputerID", "7"},
                                                                       {"TransitUploadPath", "\\Transit\\1"},
                                                                       {"UploadProcessed", "False"}};
    EXPECT_EQ(response.headers, expected);
    EXPECT_EQ(response.status, 200);
}

TEST_F(Uploads, StreamAFileFromAnOffset) {
    folder.write("data/outbox/7/a.txt", "hello");
    EXPECT_EQ(statusAndBody(stream("1")), "0:ello");
    EXPECT_EQ(statusAndBody(stream("4")), "0:o");
    EXPECT_EQ(statusAndBody(stream("5")), "0:");
    EXPECT_EQ(bodyOf(request("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream",
                             R"({"ToComputerID":"7"})")),
              "hello");
}

TEST_F(Uploads, StreamAnEmptyFile) {
    folder.makeFolder("data/outbox/7");
    poll();
    folder.write("data/outbox/7/empty", "");
    EXPECT_EQ(field(poll(), "FileName"), "\\empty");
    EXPECT_EQ(statusAndBody(stream("0")), "0:");
}

TEST_F(Uploads, MoveAnItemToTheEndWhenTheOffsetIsBeyondItsSize) {
    folder.write("data/outbox/7/a.txt", "hello");
    folder.write("data/outbox/7/b.txt", "world");
    poll();
    EXPECT_EQ(statusAndBody(stream("6")), "2:");
    EXPECT_EQ(field(poll(), "FileName"), "\\b.txt");
    EXPECT_EQ(acknowledgeAll("7"), std::vector<std::string>({"\\b.txt", "\\a.txt"}));
}

TEST_F(Uploads, RefuseAMalformedOffset) {
    folder.write("data/outbox/7/a.txt", "hello");
    for (const char* length : {"", "-1", "x", "1x", "99999999999999999999"}) {
        const Response response = stream(length);
        EXPECT_EQ(statusAndBody(response), "1:") << length;
        EXPECT_EQ(header(response, "Error"), "BadLength: \"Length\" is not a number of bytes");
        EXPECT_EQ(header(response, "FileName"), "(none)");
    }
    EXPECT_EQ(next("7"), "\\a.txt");
}

TEST_F(Uploads, StreamNothingWhenNothingWaits) {
    EXPECT_EQ(statusAndBody(stream("0")), "2:");
    EXPECT_EQ(header(stream("0"), "FileName"), "(none)");
}

TEST_F(Uploads, StreamTheItemThatThePollNamedThoughAnotherHasComeFirst) {
    folder.write("data/outbox/7/a.txt", "aaa");
    folder.write("data/outbox/7/b.txt", "bbb");
    {
        const Descriptor writer(::open(folder.path("data/outbox/7/a.txt").c_str(), O_WRONLY | O_CLOEXEC));
        EXPECT_EQ(field(poll(), "FileName"), "\\b.txt");
    }
    EXPECT_EQ(statusAndBody(stream("0")), "0:bbb");
}

TEST_F(Uploads, RequireANewPollWhenTheOfferedItemWasRemoved) {
    folder.write("data/outbox/7/a.txt", "aaa");
    folder.write("data/outbox/7/b.txt", "bbb");
    poll();
    folder.remove("data/outbox/7/a.txt");
    EXPECT_EQ(statusAndBody(stream("0")), "2:");
    EXPECT_EQ(field(poll(), "FileName"), "\\b.txt");
    EXPECT_EQ(statusAndBody(stream("0")), "0:bbb");
}

TEST_F(Uploads, TellToAskAnewWhileTheNamedItemIsBeingWritten) {
    folder.write("data/outbox/7/a.txt", "aaa");
    poll();
    const Descriptor writer(::open(folder.path("data/outbox/7/a.txt").c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(statusAndBody(stream("0")), "2:");
}

TEST_F(Uploads, SendTheNewContentOfAReplacedItem) {
    folder.write("data/outbox/7/a.txt", "old");
    EXPECT_EQ(field(poll(), "FileUploadID"), "1");
    folder.write("data/outbox/7/a.txt", "newer");
    EXPECT_EQ(field(poll(), "FileUploadID"), "1");
    EXPECT_EQ(statusAndBody(stream("0")), "0:newer");
}

TEST_F(Uploads, NeverContinueAnEarlierContentWithALaterOne) {
    folder.write("data/outbox/7/a.txt", "old content");
    poll();
    EXPECT_EQ(statusAndBody(stream("0")), "0:old content");
    folder.write("data/outbox/7/a.txt", "completely new content");
    EXPECT_EQ(field(poll(), "FileUploadID"), "2");
    EXPECT_EQ(statusAndBody(stream("3")), "2:");
    poll();
    EXPECT_EQ(statusAndBody(stream("0")), "0:completely new content");
    EXPECT_EQ(statusAndBody(stream("11")), "0:new content");
    // The computer may still have finished the old one meanwhile; the new one stays pending.
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})"), R"({"ReturnStatus":"0","error":null})");
    EXPECT_EQ(field(poll(), "FileUploadID"), "2");
}

TEST_F(Uploads, ContinueAfterARestart) {
    folder.write("data/outbox/7/a.txt", "hello");
    poll();
    EXPECT_EQ(statusAndBody(stream("0")), "0:hello");
    restart();
    EXPECT_EQ(statusAndBody(stream("3")), "0:lo");
}

TEST_F(Uploads, MayBeAcknowledgedTwiceButNotWhenUnknown) {
    folder.write("data/outbox/7/a.txt", "hello");
    poll();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})"),
                  R"({"ReturnStatus":"0","error":null})");
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"2"})"),
              R"({"ReturnStatus":"1","error":{"code":"UnknownUpload","message":"there is no upload 2"}})");
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"x"})"),
              R"({"ReturnStatus":"1","error":{"code":"UnknownUpload","message":"there is no upload x"}})");
    EXPECT_EQ(call("Uploads.svc/UpdateFileUpload", "{}"),
              R"({"ReturnStatus":"1","error":{"code":"MissingKey","message":"\"FileUploadID\" is missing"}})");
}

TEST_F(Uploads, TakeReportsOnTheStreamOfAPendingItem) {
    folder.write("data/outbox/7/a.txt", "hello");
    poll();
    expect("Uploads.svc/UpdateBSUploadStreamStarted", R"({"FileUploadID":"1"})",
           R"({"ReturnStatus":"0","error":null})");
    expect("Uploads.svc/UpdateBSUploadStreamFailed", R"({"FileUploadID":"1"})", R"({"ReturnStatus":"0","error":null})");
    EXPECT_EQ(take("7"), "\\a.txt");
    for (const char* operation :
         {"Uploads.svc/UpdateBSUploadStreamStarted", "Uploads.svc/UpdateBSUploadStreamFailed"}) {
        expectRefusal(operation, R"({"FileUploadID":"1"})", "NotPending", "upload 1 is no longer pending");
        expectRefusal(operation, R"({"FileUploadID":"2"})", "UnknownUpload", "there is no upload 2");
    }
}

TEST_F(Uploads, GoBehindTheOthersWhenTheirStreamFails) {
    folder.write("data/outbox/7/a.txt", "aaa");
    poll();
    folder.write("data/outbox/7/b.txt", "bbb");
    call("Uploads.svc/UpdateBSUploadStreamFailed", R"({"FileUploadID":"1"})");
    EXPECT_EQ(field(poll(), "FileName"), "\\b.txt");
    call("Uploads.svc/UpdateBSUploadStreamStarted", R"({"FileUploadID":"1"})");
    EXPECT_EQ(statusAndBody(stream("0")), "0:aaa");
}

TEST_F(Uploads, NeedAComputer) {
    EXPECT_EQ(call("Uploads.svc/GetTopFileUpload", "{}"),
              R"({"ReturnStatus":"1","error":{"code":"MissingKey","message":"\"ToComputerID\" is missing"}})");
    const Response response = request("POST", "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream", "{}");
    EXPECT_EQ(statusAndBody(response), "1:");
    EXPECT_EQ(header(response, "Error"), "MissingKey: \"ToComputerID\" is missing");
}

TEST_F(Uploads, TakeAComputersNumberToo) {
    folder.write("data/outbox/7/a.txt", "hello");
    EXPECT_EQ(field(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":7})"), "FileName"), "\\a.txt");
}

TEST_F(Uploads, AreNeverThoseOfAnOddlyNamedComputer) {
    folder.write("data/outbox/7/a.txt", "hello");
    for (const char* computer : {"../7", "7/", "./7", "7' OR '1'='1", "%", "7\\u0000", "*"})
        EXPECT_EQ(call("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":")" + std::string(computer) + R"("})"),
                  nothing)
            << computer;
}

TEST_F(Uploads, ArePassedOverWhenTheirFileHasBecomeSomethingElse) {
    folder.write("data/outbox/7/a.txt", "hello");
    folder.write("data/outbox/7/b.txt", "hello");
    poll();
    folder.remove("data/outbox/7/a.txt");
    std::filesystem::create_symlink("/etc/passwd", folder.path("data/outbox/7/a.txt"));
    EXPECT_EQ(acknowledgeAll("7"), std::vector<std::string>({"\\b.txt"}));
}

TEST_F(Uploads, ErrorReportsAreShown) {
    EXPECT_EQ(call("MAC/ErrorLog.svc/LogError",
                   R"({"ErrorClass":"C","ErrorMethod":"M","ErrorMessage":"broken","ComputerID":"7"})"),
              R"({"ReturnStatus":"0","error":null})");
    const std::string reports = request("GET", "/errors?computer=7").body;
    EXPECT_TRUE(reports.ends_with(R"("computer":"7","user":null,"class":"C","method":"M","message":"broken"}])"))
        << reports;
    EXPECT_EQ(request("GET", "/errors?computer=8").body, "[]");
}

} // namespace webservice::test
