// Whatever goes wrong with GetTopFileUploadWithStream, its response cannot be mistaken for the content of a file.

#include "Support/FileSizeLimit.h"
#include "Support/HttpClient.h"
#include "Support/LockedDatabase.h"
#include "Support/ServedState.h"
#include "Support/ServiceProcess.h"

#include <gtest/gtest.h>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view streamOperation = "Uploads.svc/GetTopFileUploadWithStream";
constexpr std::string_view streamTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream";

/// "STATUS RETURNSTATUS BODY"
std::string summary(const HttpResponse& response) {
    const auto field = response.headers.find("ReturnStatus");
    return std::to_string(response.status) + ' ' + (field == response.headers.end() ? "(none)" : field->second) + ' ' +
           response.body;
}

std::string raw(std::string_view line, std::string_view fields, std::string_view body = "") {
    return std::string(line) + " HTTP/1.1\r\nHost: localhost\r\n" + std::string(fields) + "\r\n" + std::string(body);
}

} // namespace

TEST(ADownload, OfAMalformedRequestReportsTheErrorInHeaderFields) {
    const ServedState service(5s);
    const std::string post = "POST " + std::string(streamTarget);
    for (const auto& [request, expected] : {
             std::pair(raw(post, "Content-Length: 1\r\n", "{"), "400 1 "),
             std::pair(raw(post, "Content-Length: 2\r\n", "[]"), "400 1 "),
             std::pair(raw(post, "Content-Length: 2\r\n", "{}"), "200 1 "),
             std::pair(raw(post, ""), "400 1 "),
             std::pair(raw(post, "Content-Length: 1048577\r\n", std::string(1048577, ' ')), "413 1 "),
             std::pair(raw(post, "Transfer-Encoding: gzip\r\n"), "501 2 "),
             std::pair(raw(post, "Transfer-Encoding: chunked\r\n", "zz\r\n"), "400 1 "),
             std::pair(raw(post, "Expect: miracles\r\n"), "417 1 "),
             std::pair(raw(post, "no colon\r\n"), "400 1 "),
             std::pair(raw(post, "A: " + std::string(70'000, 'a') + "\r\n"), "431 1 "),
             std::pair(post + " HTTP/3.0\r\n\r\n", "505 2 "),
             std::pair(raw("GET " + std::string(streamTarget), ""), "405 1 "),
             std::pair(raw("PUT " + std::string(streamTarget), "Content-Length: 1\r\n", "x"), "405 1 "),
             std::pair(raw("POST /QuenmarkRestService/uploads.svc/gettopfileuploadwithstream", ""), "404 1 "),
             std::pair(raw(post + "/", ""), "404 1 "),
             std::pair(raw(post + "%EF%BF%BC", ""), "404 1 "),
             std::pair(raw("POST /Uploads.svc/GetTopFileUploadWithStream", ""), "404 1 "),
             std::pair(raw("POST /QuenmarkRestService//Uploads.svc/%47etTopFileUploadWithStream", ""), "404 1 "),
             std::pair(raw("POST /QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream%zz", ""), "404 1 "),
         }) {
        HttpClient client(service.port());
        client.send(request);
        EXPECT_EQ(summary(client.receive()), expected) << request.substr(0, 150);
    }
}

TEST(ADownload, ThatFailsHasTheErrorInOneHeaderField) {
    const ServedState service(5s);
    const HttpResponse response =
        HttpClient(service.port()).exchange("POST", "/x%0d%0aFileName:%20y/GetTopFileUploadWithStream", "{}");
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.headers.at("Error"), "UnknownPath: there is nothing at this path");
    const HttpResponse forged =
        HttpClient(service.port())
            .exchange("POST", "/QuenmarkRestService/x%0d%0aFileName:%20y/GetTopFileUploadWithStream", "{}");
    EXPECT_EQ(
        forged.headers.at("Error"),
        R"(UnknownOperation: there is no operation /QuenmarkRestService/x\x0d\x0aFileName: y/GetTopFileUploadWithStream)");
    EXPECT_FALSE(forged.headers.contains("FileName"));
}

TEST(ADownload, FromALockedDatabaseIsToBeRetried) {
    const ServedState service(20ms);
    service.folder.write("data/outbox/7/a.txt", "hello");
    HttpClient client(service.port());
    ASSERT_EQ(client.post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").status, 200);
    {
        const LockedDatabase locked(service.folder.path("data/state.db").string());
        const HttpResponse response = HttpClient(service.port()).post(streamOperation, R"({"ToComputerID":"7"})");
        EXPECT_EQ(summary(response), "500 2 ");
        EXPECT_EQ(response.headers.at("Error"), "InternalError: another process has the database locked");
    }
    EXPECT_EQ(summary(HttpClient(service.port()).post(streamOperation, R"({"ToComputerID":"7"})")), "200 0 hello");
}

TEST(ADownload, OnAFullDiskIsToBeRetried) {
    TemporaryFolder folder;
    folder.write("data/outbox/7/a.txt", "hello");
    std::optional<ServiceProcess> service;
    {
        const FileSizeLimit limit(1 << 20);
        service.emplace(folder.path("data").string());
    }
    ASSERT_EQ(HttpClient(service->port()).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").status, 200);
    int accepted = 0;
    for (const std::size_t length : {60'000U, 1U}) {
        const std::string filler = R"({"ErrorMessage":")" + std::string(length, 'x') + "\"}";
        while (HttpClient(service->port()).post("MAC/ErrorLog.svc/LogError", filler).status == 200)
            ASSERT_LT(++accepted, 100);
    }
    EXPECT_EQ(summary(HttpClient(service->port()).post(streamOperation, R"({"ToComputerID":"7"})")), "500 2 ");
    EXPECT_EQ(HttpClient(service->port()).post("Uploads.svc/GetTopFileUpload", R"({"ToComputerID":"7"})").status, 200);
    // SQLite has rolled back by itself, and is not asked to do so again.
    EXPECT_EQ(service->errors().find("ROLLBACK"), std::string::npos);
}

TEST(AnItem, WithTheNameOfTheDownloadIsPushedLikeAnyOther) {
    const ServedState service(5s);
    const HttpResponse response =
        HttpClient(service.port()).exchange("PUT", "/outbox/7/GetTopFileUploadWithStream/../a", "x");
    EXPECT_EQ(response.status, 400);
    EXPECT_NE(response.body.find(R"("code":"BadPath")"), std::string::npos) << response.body;
}

} // namespace webservice::test
