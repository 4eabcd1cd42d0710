// The two stream operations: on the session transport, and where they do nothing.

#include "OperationCase.h"
#include "ServiceFixture.h"
#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace ServicesTests {

namespace {

using Platform::Queue;
namespace Catalogue = Quenmark::Catalogue;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

class ADownloadOperation : public ServiceFixture {
protected:
    void call(const char* computer = "91") {
        Quenmark::GetTopFileUploadQuery query;
        query.toComputerId = computer;
        perform(Catalogue::getTopFileUploadWithStream, query,
                [this](std::optional<Platform::HttpUrlResponse> headers, std::optional<Platform::Data> body,
                       std::int64_t with) {
                    ++calls;
                    response = std::move(headers);
                    data = std::move(body);
                    status = with;
                    onMainQueue = Queue::current() == Queue::main();
                });
    }
    [[nodiscard]] bool awaitCall() {
        return runUntil([&] { return calls > 0; });
    }
    void expectFailure(std::int64_t expected) {
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(status, expected);
        EXPECT_EQ(response, std::nullopt);
        EXPECT_EQ(data, std::nullopt);
    }

    int calls = 0;
    std::int64_t status = -1;
    bool onMainQueue = false;
    std::optional<Platform::HttpUrlResponse> response;
    std::optional<Platform::Data> data;
};

TEST_F(ADownloadOperation, ReportsTheResponseAndTheRawBody) {
    server.enqueue(HttpReply::ok("{\"not\": parsed", {{"FileUploadID", "501"}}));
    call();
    EXPECT_EQ(calls, 0);
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(onMainQueue);
    EXPECT_EQ(data, "{\"not\": parsed");
    ASSERT_TRUE(response.has_value());
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(response->allHeaderFields.value("FileUploadID"), "501");
    EXPECT_EQ(log.entries(), Log{"{\n  \"ToComputerID\" : \"91\"\n}"});

    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "POST");
    EXPECT_EQ(server.requests()[0].target, "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream");
    EXPECT_EQ(server.requests()[0].header("Accept"), "application/json");
    EXPECT_EQ(server.requests()[0].body, "{\n  \"ToComputerID\" : \"91\"\n}");
}

TEST_F(ADownloadOperation, ReportsAnEmptyBodyAsData) {
    server.enqueue(HttpReply::ok());
    call();
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(data, "");
}

TEST_F(ADownloadOperation, DropsTheErrorOfAFailure) {
    server.stopListening();
    call();
    ASSERT_TRUE(awaitCall());
    expectFailure(2);
}

TEST_F(ADownloadOperation, FailsAtOnceWhereTheNetworkIsNotReachable) {
    setReachable(false);
    call();
    expectFailure(1);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ADownloadOperation, FailsAtOnceForWhatJsonCannotCarry) {
    call("\xFF");
    expectFailure(4);
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ADownloadOperation, DoesNothingAtAllOnOldReleases) {
    for (const double release : {1138.0, release10_7, 1342.9}) {
        setRelease(release);
        call();
    }
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(log.entries().empty());
}

class AnUploadOperation : public ServiceFixture {
protected:
    void call(const std::string& path) {
        std::string filePath = path.substr(1);
        std::replace(filePath.begin(), filePath.end(), '/', '\\');
        Quenmark::UpdateFileRequestQuery query;
        query.filePath = filePath;
        query.fileRequestId = "601";
        query.transitDownloadPath = "transit/601";
        query.attachment = "not sent";
        perform(Catalogue::updateFileRequestWithStream, query,
                [this](Quenmark::Result<Quenmark::UpdateFileRequestResponseData> response, std::int64_t with) {
                    ++calls;
                    status = with;
                    onMainQueue = Queue::current() == Queue::main();
                    result = std::move(response);
                });
        quoted = filePath;
        for (std::size_t at = quoted.find('\\'); at != std::string::npos; at = quoted.find('\\', at + 2))
            quoted.insert(at, 1, '\\');
        parameters = "strem dictionary {\n    \"FilePath\" = \"" + quoted +
                     "\";\n    \"FileRequestID\" = \"601\";\n    \"TransitDownloadPath\" = \"transit/601\";\n"
                     "    \"Attachment\" = \"not sent\";\n}";
    }
    [[nodiscard]] bool awaitCall() {
        return runUntil([&] { return calls > 0; });
    }

    TestSupport::TemporaryDirectory folder;
    std::string quoted;
    /// What is logged of the call's parameters.
    std::string parameters;
    int calls = 0;
    std::int64_t status = -1;
    bool onMainQueue = false;
    Quenmark::Result<Quenmark::UpdateFileRequestResponseData> result;
};

TEST_F(AnUploadOperation, SendsTheFileAndReportsTheRecord) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus": "True", "error": {"Code": 1}})"));
    call(folder.write("report.txt", "content"));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(onMainQueue);
    ASSERT_NE(result.value(), nullptr);
    EXPECT_EQ(*result.value(),
              (Quenmark::UpdateFileRequestResponseData{.ReturnStatus = "True", .error = json(R"({"Code": 1})")}));
    EXPECT_EQ(log.entries(), (Log{parameters, "7 transit/601 601"}));
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, "/QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream");
    EXPECT_EQ(server.requests()[0].header("Content-Type"), "application/octet-stream");
    EXPECT_EQ(server.requests()[0].header("FileRequestID"), "601");
    EXPECT_EQ(server.requests()[0].header("TransitDownloadPath"), "transit/601");
    EXPECT_EQ(server.requests()[0].header("Attachment"), std::nullopt);
    EXPECT_EQ(server.requests()[0].body, "content");
}

TEST_F(AnUploadOperation, ReportsARecordOfNilsForAResponseThatIsNotJson) {
    server.enqueue(HttpReply::ok("stored"));
    call(folder.write("report.txt", "content"));
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 0);
    ASSERT_NE(result.value(), nullptr);
    EXPECT_EQ(*result.value(), Quenmark::UpdateFileRequestResponseData{});
}

TEST_F(AnUploadOperation, ReportsTheErrorOfAFileThatIsNotThere) {
    call(folder.path("missing.txt"));
    EXPECT_EQ(calls, 0);
    ASSERT_TRUE(awaitCall());
    EXPECT_EQ(status, 2);
    ASSERT_NE(result.error(), nullptr);
    EXPECT_EQ(result.error()->code, -1100);
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(AnUploadOperation, FailsAtOnceWhereTheNetworkIsNotReachable) {
    setReachable(false);
    call(folder.write("report.txt", "content"));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(result.isNil());
    EXPECT_EQ(log.entries(), Log{parameters});
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

TEST_F(AnUploadOperation, DoesNothingAtAllOnOldReleases) {
    for (const double release : {1138.0, release10_7, 1342.9}) {
        setRelease(release);
        call(folder.write("report.txt", "content"));
    }
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

} // namespace

} // namespace ServicesTests
