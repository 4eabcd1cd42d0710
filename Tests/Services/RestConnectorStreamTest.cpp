// What else the session connector can do: the raw post, the plain download, and the upload that sends nothing.

#include "ConnectorReports.h"
#include "Platform/Text.h"
#include "ServiceFixture.h"
#include "Services/RestConnector.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace ServicesTests {

namespace {

using Platform::Queue;
using Quenmark::RestConnector;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

constexpr const char* streamPath = "Uploads.svc/GetTopFileUploadWithStream";

class ARawPost : public ServiceFixture {
protected:
    std::shared_ptr<RestConnector> post(const boost::json::value& params, const char* task = streamPath) {
        auto connector = std::make_shared<RestConnector>(context);
        connector->startAsyncDownloadWithStreamRequest(
            task, params, nullptr,
            [this, handler = reports.handler()](std::optional<Platform::HttpUrlResponse> headers,
                                                Quenmark::Result<Platform::Data> data, std::uint64_t status) {
                response = std::move(headers);
                handler(std::move(data), status);
            });
        return connector;
    }
    [[nodiscard]] bool awaitReport() {
        return runUntil([&] { return !reports.all.empty(); });
    }

    Reports<Platform::Data> reports{log};
    std::optional<Platform::HttpUrlResponse> response;
};

TEST_F(ARawPost, SendsExactlyTheseBytes) {
    server.enqueue(HttpReply::ok());
    post(boost::json::object{{"ToComputerID", "91"}});
    ASSERT_TRUE(awaitReport());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].bytes,
              "POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream HTTP/1.1\r\n"
              "Host: " +
                  server.host() +
                  "\r\n"
                  "User-Agent: ServicesTests/" PRODUCT_VERSION "\r\n"
                  "Content-Type: application/json\r\n"
                  "Accept: application/json\r\n"
                  "Content-Length: 27\r\n"
                  "\r\n"
                  "{\n  \"ToComputerID\" : \"91\"\n}");
}

TEST_F(ARawPost, HandsTheResponseOnAsItIs) {
    const std::string body("no \0 JSON \xFF\r\n", 13);
    server.enqueue(HttpReply::status(500, body, {{"FileName", "a.txt"}}));
    post(boost::json::object{{"ToComputerID", "91"}});
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), body);
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    ASSERT_TRUE(response.has_value());
    EXPECT_EQ(response->statusCode, 500);
    EXPECT_EQ(response->allHeaderFields.value("FileName"), "a.txt");
    EXPECT_EQ(log.entries(), Log{"{\n  \"ToComputerID\" : \"91\"\n}"});
}

TEST_F(ARawPost, ReportsAnEmptyResponse) {
    server.enqueue(HttpReply::ok());
    post(boost::json::object{});
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    ASSERT_NE(reports.all[0].result.value(), nullptr);
    EXPECT_EQ(*reports.all[0].result.value(), "");
}

TEST_F(ARawPost, RunsOnTheDataConfiguration) {
    server.enqueue(HttpReply::ok());
    const auto connector = post(boost::json::object{});
    const auto& configuration = connector->session()->configuration();
    Platform::HeaderFields expected;
    expected.set("Accept", "application/json");
    expected.set("Content-Type", "application/json");
    EXPECT_EQ(configuration.httpAdditionalHeaders, expected);
    EXPECT_TRUE(configuration.allowsCellularAccess);
    EXPECT_EQ(configuration.timeoutIntervalForRequest, std::chrono::seconds(60));
    EXPECT_EQ(configuration.timeoutIntervalForResource, std::chrono::seconds(60));
    EXPECT_EQ(configuration.httpMaximumConnectionsPerHost, 1);
    EXPECT_EQ(connector->session()->delegateQueue(), Queue::main());
    ASSERT_TRUE(awaitReport());
}

TEST_F(ARawPost, SendsNothingWhereTheNetworkIsNotReachable) {
    setReachable(false);
    const auto connector = post(boost::json::object{});
    ASSERT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(reports.all[0].status, 1U);
    EXPECT_TRUE(reports.all[0].result.isNil());
    EXPECT_EQ(response, std::nullopt);
    EXPECT_EQ(connector->session(), nullptr);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ARawPost, SendsNothingThatJsonCannotCarry) {
    post(boost::json::object{{"ToComputerID", "\xFF"}});
    ASSERT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(reports.all[0].status, 4U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->domain, "JSON");
    EXPECT_EQ(response, std::nullopt);
    EXPECT_EQ(log.entries(), Log{"(null)"});
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ARawPost, ReportsATransportErrorWithoutAWord) {
    server.enqueue(HttpReply::ok("0123456789").cutAfter(45).thenClose());
    post(boost::json::object{});
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->code, -1005);
    EXPECT_EQ(response, std::nullopt);
    EXPECT_EQ(log.entries(), Log{"{}"});
}

TEST_F(ARawPost, ReportsAFailedTlsHandshakeLikeAnyOtherError) {
    server.enqueue(HttpReply::status(307, "", {{"Location", "https://" + server.host() + "/"}}));
    post(boost::json::object{});
    ASSERT_TRUE(runUntil([&] { return server.unfinishedRequests() == 1; }));
    server.closeAll();
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1200);
    EXPECT_EQ(log.entries(), Log{"{}"});
}

TEST_F(ARawPost, ReportsThatItWasClosed) {
    server.enqueue(HttpReply::silence());
    const auto connector = post(boost::json::object{});
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    connector->pause();
    connector->close();
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -999);
}

class APlainDownload : public ServiceFixture {
protected:
    std::shared_ptr<RestConnector> download(const std::string& url) {
        auto connector = std::make_shared<RestConnector>(context);
        connector->startAsyncDownload(url, nullptr, reports.handler());
        return connector;
    }
    [[nodiscard]] bool awaitReport() {
        return runUntil([&] { return !reports.all.empty(); });
    }

    Reports<Platform::Data> reports{log};
};

TEST_F(APlainDownload, GetsAnAbsoluteUrlIntoMemory) {
    const std::string body("\0\xFF{}\r\n", 6);
    server.enqueue("/any/where?x=1", HttpReply::ok(body));
    const auto connector = download(server.url("/any/where?x=1"));
    ASSERT_NE(connector->sessionTask(), nullptr);
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), body);
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    EXPECT_TRUE(log.entries().empty());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].bytes, "GET /any/where?x=1 HTTP/1.1\r\n"
                                          "Host: " +
                                              server.host() +
                                              "\r\n"
                                              "User-Agent: ServicesTests/" PRODUCT_VERSION "\r\n"
                                              "\r\n");
}

TEST_F(APlainDownload, ThatDoesNotFitIntoMemoryIsATransportError) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\nx"));
    const auto connector = download(server.url("/a"));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1103);
}

TEST_F(APlainDownload, LeavesNoFileBehind) {
    environment.set("TMPDIR", home.path("tmp"));
    server.enqueue(HttpReply::ok("content"));
    download(server.url("/a"));
    ASSERT_TRUE(awaitReport());
    EXPECT_TRUE(std::filesystem::exists(home.path("tmp"))) << "the download went somewhere else";
    ASSERT_TRUE(runUntil([&] { return std::filesystem::is_empty(home.path("tmp")); }));
}

TEST_F(APlainDownload, RunsOnTheDownloadConfiguration) {
    server.enqueue(HttpReply::ok());
    const auto connector = download(server.url("/a"));
    const auto& configuration = connector->session()->configuration();
    EXPECT_EQ(configuration.httpAdditionalHeaders.size(), 0U);
    EXPECT_EQ(configuration.timeoutIntervalForRequest, std::chrono::seconds(60));
    EXPECT_EQ(configuration.timeoutIntervalForResource, std::chrono::seconds(60));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(*reports.all[0].result.value(), "");
}

TEST_F(APlainDownload, TreatsAnyHttpStatusAsSuccess) {
    server.enqueue(HttpReply::status(404, "gone"));
    download(server.url("/a"));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), "gone");
}

TEST_F(APlainDownload, ReportsAResponseThatIsTooLongForMemory) {
    for (const std::size_t more : {0U, 1U}) {
        reports.all.clear();
        log.clear();
        server.enqueue(HttpReply::ok(std::string(Platform::maximumDataInMemory + more, 'x')));
        download(server.url("/a"));
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, more == 0 ? 0U : 2U);
    }
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->code, -1103);
    EXPECT_EQ(log.entries(), Log{"nework error......." + Platform::text(*reports.all[0].result.error())});
}

TEST_F(APlainDownload, ReportsAnErrorAndLogsItAfterwards) {
    server.stopListening();
    download(server.url("/a"));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->code, -1004);
    EXPECT_EQ(reports.all[0].logEntries, 0U);
    EXPECT_EQ(log.entries(), Log{"nework error......." + Platform::text(*reports.all[0].result.error())});
}

TEST_F(APlainDownload, ReportsAnUnknownErrorLikeAnyOther) {
    environment.set("TMPDIR", home.write("a file", "") + "/below");
    server.enqueue(HttpReply::ok("content"));
    download(server.url("/a"));
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1);
}

TEST_F(APlainDownload, ReportsATextThatFormsNoUrl) {
    download("http://" + server.host() + "/a b");
    EXPECT_TRUE(reports.all.empty());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1000);
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(APlainDownload, IsNotStartedWhereTheNetworkIsNotReachable) {
    setReachable(false);
    const auto connector = download(server.url("/a"));
    ASSERT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(reports.all[0].status, 1U);
    EXPECT_TRUE(reports.all[0].result.isNil());
    EXPECT_EQ(connector->session(), nullptr);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(everyRequest().empty());
}

class AnInertUpload : public ServiceFixture {
protected:
    void start(const boost::json::value& params, const char* task = "Uploads.svc/A") {
        connector->startAsyncUpload(task, params, nullptr, reports.handler());
    }

    std::shared_ptr<RestConnector> connector = std::make_shared<RestConnector>(context);
    Reports<boost::json::value> reports{log};
};

TEST_F(AnInertUpload, LogsItsBodyAndItsUrlAndSendsNothing) {
    start(boost::json::object{{"A", "1"}});
    EXPECT_EQ(log.entries(), (Log{"Json String {\n  \"A\" : \"1\"\n}",
                                  "url is........" + server.url("/QuenmarkRestService/Uploads.svc/A")}));
    EXPECT_EQ(connector->sessionTask(), nullptr);
    ASSERT_NE(connector->session(), nullptr);
    EXPECT_EQ(connector->session()->configuration().timeoutIntervalForResource, std::chrono::seconds(60));
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_TRUE(reports.all.empty());
}

TEST_F(AnInertUpload, LogsAUrlThatCannotBeFormedAsNil) {
    start(boost::json::object{}, "a b");
    EXPECT_EQ(log.entries(), (Log{"Json String {}", "url is........(null)"}));
}

TEST_F(AnInertUpload, ReportsOnlyItsFailures) {
    start(boost::json::object{{"A", "\xFF"}});
    ASSERT_EQ(reports.all.size(), 1U);
    EXPECT_EQ(reports.all[0].status, 4U);
    EXPECT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(log.entries(), Log{"Json String (null)"});
    log.clear();
    setReachable(false);
    start(boost::json::object{});
    ASSERT_EQ(reports.all.size(), 2U);
    EXPECT_EQ(reports.all[1].status, 1U);
    EXPECT_TRUE(reports.all[1].result.isNil());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(AnInertUpload, LeavesNothingThatKeepsTheConnectorAlive) {
    start(boost::json::object{});
    const std::weak_ptr<RestConnector> freed = connector;
    connector.reset();
    EXPECT_TRUE(freed.expired());
}

} // namespace

} // namespace ServicesTests
