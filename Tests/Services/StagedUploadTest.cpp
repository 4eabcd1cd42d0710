// The upload of a file whose description travels in header fields, by way of a copy in the home directory.

#include "Platform/UrlLoading/UrlSession.h"
#include "StagedUploadFixture.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace ServicesTests {

namespace {

namespace fs = std::filesystem;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

class AStagedUpload : public StagedUploadFixture {};

TEST_F(AStagedUpload, SendsExactlyTheseBytes) {
    const std::string content("line\r\n\0\xFF", 8);
    const std::string filePath = windowsForm(folder.write("report.txt", content));
    server.enqueue(HttpReply::json("{}"));
    upload(params(filePath));
    ASSERT_TRUE(awaitReport());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].bytes,
              "POST /QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream HTTP/1.1\r\n"
              "Host: " +
                  server.host() +
                  "\r\n"
                  "User-Agent: ServicesTests/" PRODUCT_VERSION "\r\n"
                  "Content-Type: application/octet-stream\r\n"
                  "FilePath: " +
                  filePath +
                  "\r\n"
                  "TransitDownloadPath: transit/601\r\n"
                  "FileRequestID: 601\r\n"
                  "Content-Length: 8\r\n"
                  "\r\n" +
                  content);
}

TEST_F(AStagedUpload, ReportsTheDecodedResponseOnTheMainQueueAndRemovesTheCopy) {
    const std::string filePath = windowsForm(folder.write("report.txt", "content"));
    std::string copyWhileSending;
    server.setHandler([&](const auto&) {
        copyWhileSending = home.read("report.txt");
        return HttpReply::json(R"({"ReturnStatus": "0"})");
    });
    upload(params(filePath));
    EXPECT_TRUE(reports.all.empty());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(copyWhileSending, "content");
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"ReturnStatus": "0"})"));
    EXPECT_EQ(reports.all[0].queue, Platform::Queue::main());
    EXPECT_TRUE(homeIsEmpty());
    EXPECT_EQ(folder.read("report.txt"), "content");
    EXPECT_EQ(log.entries(), Log{"7 transit/601 601"});
}

TEST_F(AStagedUpload, RunsOnTheUploadConfigurationAndIsNoSessionTask) {
    server.enqueue(HttpReply::silence());
    const auto connector = upload(params(windowsForm(folder.write("report.txt", "content"))));
    const auto& configuration = connector->session()->configuration();
    const auto defaults = Platform::UrlSessionConfiguration::defaultSessionConfiguration();
    EXPECT_EQ(configuration.httpMaximumConnectionsPerHost, 1);
    EXPECT_EQ(configuration.httpAdditionalHeaders.size(), 0U);
    EXPECT_EQ(configuration.timeoutIntervalForRequest, defaults.timeoutIntervalForRequest);
    EXPECT_EQ(configuration.timeoutIntervalForResource, defaults.timeoutIntervalForResource);
    EXPECT_EQ(connector->session()->delegateQueue(), Platform::Queue::main());
    EXPECT_EQ(connector->sessionTask(), nullptr);
    connector->close();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
}

TEST_F(AStagedUpload, ReportsAResponseThatIsNotJsonAsNilAndRemovesTheCopy) {
    const std::string filePath = windowsForm(folder.write("report.txt", "content"));
    for (const auto* body : {"", "plain text", "7"}) {
        reports.all.clear();
        server.enqueue(HttpReply::ok(body));
        upload(params(filePath));
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U) << body;
        EXPECT_TRUE(reports.all[0].result.isNil());
        EXPECT_TRUE(homeIsEmpty());
    }
}

TEST_F(AStagedUpload, LeavesTheCopyBehindWhenTheTransferFails) {
    server.enqueue(HttpReply::silence().thenReset());
    upload(params(windowsForm(folder.write("report.txt", "content"))));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1005);
    EXPECT_EQ(home.read("report.txt"), "content");
    EXPECT_EQ(log.entries(), Log{"7 transit/601 601"});
}

TEST_F(AStagedUpload, ReplacesAFileOfItsNameInTheHomeDirectory) {
    home.write("report.txt", "a longer content that was there before");
    server.enqueue(HttpReply::json("{}"));
    upload(params(windowsForm(folder.write("report.txt", "new"))));
    EXPECT_EQ(home.read("report.txt"), "new");
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(server.requests().at(0).body, "new");
    EXPECT_TRUE(homeIsEmpty());
}

TEST_F(AStagedUpload, HasACopyThatIsNoMoreReadableThanItsSource) {
    struct Case {
        mode_t source;
        mode_t expected;
    };
    const mode_t before = ::umask(022);
    for (const auto& [source, expected] :
         {Case{0600, 0600}, Case{0400, 0600}, Case{0640, 0640}, Case{0644, 0644}, Case{0777, 0644}}) {
        const std::string path = folder.write("report.txt", "content");
        ASSERT_EQ(::chmod(path.c_str(), source), 0);
        for (const bool isThereAlready : {false, true}) {
            if (isThereAlready) {
                ASSERT_EQ(::chmod(home.write("report.txt", "older and longer").c_str(), 0666), 0);
            }
            reports.all.clear();
            server.enqueue(HttpReply::silence().thenReset());
            upload(params(windowsForm(path)));
            ASSERT_TRUE(awaitReport());
            struct stat status {};
            ASSERT_EQ(::stat(home.path("report.txt").c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777U, isThereAlready ? (source | 0600U) & 0666U : expected) << source;
            EXPECT_EQ(home.read("report.txt"), "content");
            fs::remove(home.path("report.txt"));
        }
        fs::remove(path);
    }
    ::umask(before);
}

TEST_F(AStagedUpload, StagesInTheDirectoryOfTheSettings) {
    fs::create_directory(folder.path("stage"));
    settings.stagingDirectory = folder.path("stage");
    home.write("report.txt", "mine");
    std::string staged;
    server.setHandler([&](const auto&) {
        staged = folder.read("stage/report.txt");
        return HttpReply::json("{}");
    });
    upload(params(windowsForm(folder.write("report.txt", "content"))));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(staged, "content");
    EXPECT_TRUE(fs::is_empty(folder.path("stage")));
    EXPECT_EQ(home.read("report.txt"), "mine");
}

TEST_F(AStagedUpload, SendsAnEmptyFile) {
    server.enqueue(HttpReply::json("{}"));
    upload(params(windowsForm(folder.write("empty.txt", ""))));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].header("Content-Length"), "0");
    EXPECT_EQ(server.requests()[0].body, "");
    EXPECT_TRUE(homeIsEmpty());
    EXPECT_EQ(log.entries(), Log{"0 transit/601 601"});
}

TEST_F(AStagedUpload, SendsAFileOfSeveralMegabytesWhole) {
    std::string content(5'000'011, '\0');
    for (std::size_t at = 0; at < content.size(); ++at)
        content[at] = static_cast<char>((at * 2654435761U) >> 13);
    server.enqueue(HttpReply::json("{}"));
    upload(params(windowsForm(folder.write("large.bin", content))));
    ASSERT_TRUE(awaitReport());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_TRUE(server.requests()[0].body == content);
}

TEST_F(AStagedUpload, HasNoCopyWhereTheHomeDirectoryIsMissing) {
    environment.set("HOME", folder.path("nobody"));
    upload(params(windowsForm(folder.write("report.txt", "content"))));
    EXPECT_EQ(log.entries(), Log{"7 transit/601 601"});
    expectNoFile();
}

TEST_F(AStagedUpload, LeavesHeaderFieldsOutForParametersThatAreNil) {
    const std::string filePath = windowsForm(folder.write("report.txt", "x"));
    server.enqueue(HttpReply::json("{}"));
    upload({{"FilePath", filePath}});
    ASSERT_TRUE(awaitReport());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].header("FilePath"), filePath);
    EXPECT_EQ(server.requests()[0].header("TransitDownloadPath"), std::nullopt);
    EXPECT_EQ(server.requests()[0].header("FileRequestID"), std::nullopt);
    EXPECT_EQ(log.entries(), Log{"1 (null) (null)"});
}

TEST_F(AStagedUpload, SendsNoHeaderFieldThatWouldEndItsLine) {
    auto parameters = params(windowsForm(folder.write("report.txt", "x")));
    parameters["FileRequestID"] = "601\r\nX-More: 1";
    upload(parameters);
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1000);
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(AStagedUpload, StagesNothingWhereTheNetworkIsNotReachable) {
    setReachable(false);
    const auto connector = upload(params(windowsForm(folder.write("report.txt", "x"))));
    ASSERT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(reports.all[0].status, 1U);
    EXPECT_TRUE(reports.all[0].result.isNil());
    EXPECT_EQ(connector->session(), nullptr);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(homeIsEmpty());
    EXPECT_TRUE(everyRequest().empty());
}

} // namespace

} // namespace ServicesTests
