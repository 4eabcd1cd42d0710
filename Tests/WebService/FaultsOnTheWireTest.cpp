// What each kind of fault sends, byte for byte.

#include "Support/HttpClient.h"
#include "Support/ServedState.h"
#include "Support/TestState.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

constexpr const char* poll = "Uploads.svc/GetTopFileUpload";
constexpr const char* download = "Uploads.svc/GetTopFileUploadWithStream";
constexpr const char* nothing = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 33\r\n\r\n"
                                "{\"ReturnStatus\":\"1\",\"error\":null}";

std::string post(std::string_view operation, std::string_view json) {
    return "POST /QuenmarkRestService/" + std::string(operation) +
           " HTTP/1.1\r\nContent-Length: " + std::to_string(json.size()) + "\r\n\r\n" + std::string(json);
}

const std::string pollOf7 = post(poll, R"({"ToComputerID":"7"})");

class AServiceWithFaults : public ::testing::Test {
protected:
    /// Puts a plan of one fault.
    void plan(std::string_view action, std::string_view selection = "") {
        const std::string faults =
            R"({"faults":[{)" + std::string(selection) + R"("action":)" + std::string(action) + "}]}";
        const HttpResponse response = HttpClient(service.port()).exchange("PUT", "/faults", faults);
        ASSERT_EQ(response.status, 200) << response.body;
    }

    /// Sends requests at once, and receives everything up to the end of the connection.
    std::pair<std::string, bool> receive(std::string_view requests) const {
        HttpClient client(service.port());
        client.send(requests);
        return client.receiveToEnd();
    }

    /// The same, with a request at the end that lets the connection end.
    std::string receiveKept(const std::string& requests) const {
        const std::string end = "GET /status HTTP/1.1\r\nConnection: close\r\n\r\n";
        const auto [bytes, wasReset] = receive(requests + end);
        EXPECT_FALSE(wasReset);
        return bytes.substr(0, bytes.rfind("HTTP/1.1 200 OK"));
    }

    std::string counters() const {
        const std::string body = HttpClient(service.port()).exchange("GET", "/faults", "").body;
        return body.substr(body.find(R"("seen")"));
    }

    /// Whether another connection gets its response.
    bool servesOthers() const { return HttpClient(service.port()).exchange("GET", "/status", "").status == 200; }

    /// Whether the latest download was sent to its end, as the console says.
    bool isDownloadComplete() const {
        const std::string list =
            HttpClient(service.port()).exchange("GET", "/api/requests?limit=1&search=WithStream", "").body;
        EXPECT_NE(list.find(R"("complete":)"), std::string::npos) << list;
        return list.find(R"("complete":true)") != std::string::npos;
    }

    /// Makes an item, and gives the whole response to its download.
    std::string item(std::size_t size) {
        content.clear();
        for (std::size_t index = 0; index < size; ++index)
            content += static_cast<char>('a' + index * index % 26);
        EXPECT_EQ(HttpClient(service.port()).exchange("PUT", "/outbox/7/a.bin", content).status, 201);
        EXPECT_EQ(HttpClient(service.port()).post(poll, R"({"ToComputerID":"7"})").status, 200);
        const HttpResponse whole = HttpClient(service.port()).post(download, R"({"ToComputerID":"7"})");
        return whole.headerText + whole.body;
    }
    const std::string downloadOf7 = post(download, R"({"ToComputerID":"7"})");

    ServedState service;
    std::string content;
};

} // namespace

TEST_F(AServiceWithFaults, ResetsOrClosesAfterBytesOfTheResponse) {
    const std::string whole = nothing;
    for (const auto& [kind, isReset] : {std::pair("reset", true), std::pair("close", false)}) {
        for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, std::size_t{70}, whole.size() - 1, whole.size(),
                                        std::size_t{1'000'000}}) {
            plan(R"({"kind":")" + std::string(kind) + R"(","afterBytes":)" + std::to_string(bytes) + "}");
            EXPECT_EQ(receive(pollOf7 + pollOf7), std::pair(whole.substr(0, bytes), isReset)) << kind << ' ' << bytes;
        }
    }
}

TEST_F(AServiceWithFaults, CutsADownloadAnywhere) {
    const std::string whole = item(3'000'000);
    for (const char* kind : {"reset", "close"}) {
        const std::size_t header = whole.size() - content.size();
        for (const std::size_t bytes : {header, header + 1, std::size_t{1'234'567}, whole.size() - 1}) {
            plan(R"({"kind":")" + std::string(kind) + R"(","afterBytes":)" + std::to_string(bytes) + "}");
            const auto [received, wasReset] = receive(downloadOf7);
            EXPECT_TRUE(received == whole.substr(0, bytes)) << received.size() << " of " << bytes;
            EXPECT_EQ(wasReset, std::string_view(kind) == "reset");
            EXPECT_FALSE(isDownloadComplete()) << bytes;
        }
    }
}

/// What the client's side has no room for yet is still to be sent when the last byte has been written.
TEST_F(AServiceWithFaults, ResetsOnceAClientThatReadsLateHasGotEverything) {
    const std::string whole = item(3'000'000);
    for (std::size_t bytes = 100'000; bytes <= 3'000'000; bytes += 290'000) {
        plan(R"({"kind":"reset","afterBytes":)" + std::to_string(bytes) + "}");
        HttpClient late(service.port());
        late.send(downloadOf7);
        EXPECT_TRUE(servesOthers());
        EXPECT_TRUE(servesOthers());
        const auto [received, wasReset] = late.receiveToEnd();
        EXPECT_TRUE(received == whole.substr(0, bytes)) << received.size() << " of " << bytes;
        EXPECT_TRUE(wasReset) << bytes;
    }
}

TEST_F(AServiceWithFaults, StallsAfterBytesUntilTheTimeIsOver) {
    plan(R"({"kind":"stall","afterBytes":20,"seconds":3600.5})");
    EXPECT_EQ(receive(pollOf7 + pollOf7), std::pair(std::string(nothing).substr(0, 20), false));
    EXPECT_EQ(service.timers->take(), std::vector<Timers::Clock::duration>{3600500ms});
    EXPECT_EQ(counters(), R"("seen":1,"applied":1}]})");
}

TEST_F(AServiceWithFaults, StallsUntilTheClientClosesAndDelaysNoOther) {
    service.timers->stop(true);
    plan(R"({"kind":"stall","afterBytes":20,"seconds":60})");
    HttpClient stalled(service.port());
    stalled.send(pollOf7);
    EXPECT_EQ(stalled.receiveSome(1000), std::string(nothing).substr(0, 20));
    EXPECT_TRUE(servesOthers());
    EXPECT_FALSE(stalled.hasReceived());
    stalled.send(pollOf7);
    EXPECT_TRUE(servesOthers());
    stalled.endInput();
    EXPECT_TRUE(stalled.isClosedByPeer());
    EXPECT_EQ(counters(), R"("seen":1,"applied":1}]})");
}

TEST_F(AServiceWithFaults, DelaysAResponseAndKeepsTheConnection) {
    plan(R"({"kind":"delay","seconds":2.5})");
    EXPECT_EQ(receiveKept(pollOf7 + pollOf7), std::string(nothing) + nothing);
    EXPECT_EQ(service.timers->take(), (std::vector<Timers::Clock::duration>{2500ms, 2500ms}));
    plan(R"({"kind":"delay","seconds":0})");
    EXPECT_EQ(receiveKept(pollOf7), nothing);
    EXPECT_TRUE(service.timers->take().empty());
    plan(R"({"kind":"delay","seconds":1e-9})");
    EXPECT_EQ(receiveKept(pollOf7), nothing);
    EXPECT_EQ(service.timers->take(), std::vector<Timers::Clock::duration>{1ns});
}

TEST_F(AServiceWithFaults, DelaysFilesOfAnyLength) {
    for (const std::size_t size : {0U, 1U, 2U, 65'536U, 65'537U}) {
        HttpClient(service.port()).exchange("DELETE", "/faults", "");
        const std::string whole = item(size);
        plan(R"({"kind":"delay","seconds":0})");
        EXPECT_TRUE(receiveKept(downloadOf7) == whole) << size;
    }
}

TEST_F(AServiceWithFaults, DelaysNoOtherConnection) {
    service.timers->stop(true);
    plan(R"({"kind":"delay","seconds":86400})");
    HttpClient delayed(service.port());
    delayed.send(pollOf7);
    // One that has shut down its sending half, as some do after a request, still waits.
    HttpClient halfClosed(service.port());
    halfClosed.send(pollOf7);
    halfClosed.endInput();
    EXPECT_TRUE(servesOthers());
    EXPECT_FALSE(delayed.hasReceived());
    EXPECT_FALSE(halfClosed.hasReceived());
    delayed.reset();
    EXPECT_TRUE(servesOthers());
}

TEST_F(AServiceWithFaults, ThrottlesAResponseToARate) {
    const std::string whole = item(1'000'000);
    plan(R"({"kind":"throttle","bytesPerSecond":200000})");
    EXPECT_TRUE(receiveKept(downloadOf7) == whole);
    EXPECT_TRUE(isDownloadComplete());
    std::chrono::duration<double> time{};
    const auto waits = service.timers->take();
    for (const auto wait : waits) {
        EXPECT_LE(wait, 100ms);
        time += wait;
    }
    // All but the last piece, of up to a tenth of a second, take their time.
    EXPECT_NEAR(time.count(), static_cast<double>(whole.size()) / 200'000, 0.11);
    plan(R"({"kind":"throttle","bytesPerSecond":1})");
    EXPECT_EQ(receiveKept(post(poll, R"({"ToComputerID":"8"})")), nothing);
    EXPECT_EQ(service.timers->take(), std::vector<Timers::Clock::duration>(std::string_view(nothing).size() - 1, 1s));
}

TEST_F(AServiceWithFaults, GivesAStatusInPlaceOfDoingWhatIsRequested) {
    item(10);
    plan(R"({"kind":"status","code":503,"body":"{\"a\":\"ü\"}"})");
    const std::string acknowledge = post("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})");
    const std::string response = "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 10\r\n\r\n{\"a\":\"ü\"}";
    EXPECT_EQ(receiveKept(acknowledge + downloadOf7), response + response);
    EXPECT_EQ(HttpClient(service.port()).exchange("GET", "/status", "").body,
              R"({"pending":1,"acknowledged":0,"withdrawn":0})");
    plan(R"({"kind":"status","code":299,"body":""})");
    EXPECT_EQ(receiveKept(pollOf7), "HTTP/1.1 299 \r\nContent-Length: 0\r\n\r\n");
}

TEST_F(AServiceWithFaults, KeepsNothingOfAContentThatGetsAStatus) {
    plan(R"({"kind":"status","code":500,"body":"no"})");
    const std::string upload = "POST /QuenmarkRestService/Downloads.svc/UpdateFileRequestWithStream HTTP/1.1\r\n"
                               "FilePath: a\r\nFileRequestID: 1\r\nContent-Length: 5\r\n\r\nhello";
    EXPECT_EQ(receiveKept(upload), "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 2\r\n\r\nno");
    for (const char* folder : {"data/incoming", "data/cloud"})
        EXPECT_TRUE(std::filesystem::is_empty(service.folder.path(folder))) << folder;
}

TEST_F(AServiceWithFaults, ReplacesTheBodyAndKeepsTheHeaderFields) {
    plan(R"({"kind":"body","text":"<html>log in</html>"})");
    EXPECT_EQ(receiveKept(pollOf7), "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 19\r\n\r\n"
                                    "<html>log in</html>");
    HttpClient(service.port()).exchange("DELETE", "/faults", "");
    std::string whole = item(100'000);
    plan(R"({"kind":"body","text":"short"})");
    const std::size_t length = whole.find("Content-Length: 100000");
    ASSERT_NE(length, std::string::npos);
    EXPECT_EQ(receiveKept(downloadOf7), whole.substr(0, length) + "Content-Length: 5\r\n\r\nshort");
}

TEST_F(AServiceWithFaults, ChangesHeaderFields) {
    plan(R"({"kind":"headers","set":{"content-type":"text/plain","X-A":"ü b"},"remove":["X-B"]})");
    EXPECT_EQ(receiveKept(pollOf7),
              "HTTP/1.1 200 OK\r\nContent-Length: 33\r\ncontent-type: text/plain\r\nX-A: ü b\r\n\r\n"
              "{\"ReturnStatus\":\"1\",\"error\":null}");
    plan(R"({"kind":"headers","set":{},"remove":["CONTENT-TYPE"]})");
    EXPECT_EQ(receiveKept(pollOf7), "HTTP/1.1 200 OK\r\nContent-Length: 33\r\n\r\n"
                                    "{\"ReturnStatus\":\"1\",\"error\":null}");
}

TEST_F(AServiceWithFaults, ClosesTheConnectionWhereTheLengthOfABodyIsChanged) {
    plan(R"({"kind":"headers","set":{"Content-Length":"50"},"remove":["Content-Type"]})");
    EXPECT_EQ(receive(pollOf7 + pollOf7), std::pair(std::string("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\n"
                                                                "{\"ReturnStatus\":\"1\",\"error\":null}"),
                                                    false));
    plan(R"({"kind":"headers","set":{},"remove":["Content-Length","Content-Type"]})");
    EXPECT_EQ(receive(pollOf7 + pollOf7),
              std::pair(std::string("HTTP/1.1 200 OK\r\n\r\n{\"ReturnStatus\":\"1\",\"error\":null}"), false));
}

TEST_F(AServiceWithFaults, FlipsTheLowestBitOfAByteOfTheBody) {
    const std::string whole = nothing;
    for (const std::size_t at : {std::size_t{0}, std::size_t{32}, std::size_t{33}, std::size_t{1} << 40}) {
        plan(R"({"kind":"corrupt","atByte":)" + std::to_string(at) + "}");
        std::string expected = whole;
        if (at < 33)
            expected[whole.size() - 33 + at] ^= 1;
        EXPECT_EQ(receiveKept(pollOf7), expected) << at;
    }
}

TEST_F(AServiceWithFaults, FlipsAByteOfAFileCountedFromWhereTheBodyBegins) {
    item(200'000);
    for (const std::size_t at : {std::size_t{0}, std::size_t{65'535}, std::size_t{149'999}}) {
        plan(R"({"kind":"corrupt","atByte":)" + std::to_string(at) + "}");
        std::string expected = content.substr(50'000);
        expected[at] ^= 1;
        EXPECT_TRUE(HttpClient(service.port()).post(download, R"({"ToComputerID":"7","Length":"50000"})").body ==
                    expected)
            << at;
    }
}

TEST_F(AServiceWithFaults, ConcernsOperationsAlone) {
    plan(R"({"kind":"reset","afterBytes":0})");
    HttpClient client(service.port());
    for (const char* page : {"/status", "/mails", "/errors", "/openapi.json", "/faults"})
        EXPECT_EQ(client.exchange("GET", page, "").status, 200) << page;
    EXPECT_EQ(client.exchange("PUT", "/outbox/7/a", "x").status, 201);
    EXPECT_EQ(client.exchange("POST", "/QuenmarkRestService/Nothing", "x").status, 404);
    EXPECT_EQ(counters(), R"("seen":0,"applied":0}]})");
}

TEST_F(AServiceWithFaults, LetsErrorsOfOperationsGoWrongToo) {
    plan(R"({"kind":"headers","set":{"X-A":"b"},"remove":["Content-Type"]})");
    const std::string refused = receiveKept(post(poll, "{}"));
    EXPECT_TRUE(refused.starts_with("HTTP/1.1 200 OK\r\nContent-Length: 90\r\nX-A: b\r\n\r\n{\"ReturnStatus\":\"1\""))
        << refused;
    const std::string malformed = receiveKept(post(poll, "{"));
    EXPECT_TRUE(malformed.starts_with("HTTP/1.1 400 Bad Request\r\nContent-Length: ")) << malformed;
    EXPECT_EQ(counters(), R"("seen":2,"applied":2}]})");
}

TEST_F(AServiceWithFaults, AppliesThemToTheSameRequestsInEveryRun) {
    constexpr const char* several = R"({"faults":[
        {"path":"*/GetTopFileUpload","computer":"7","skip":1,"times":2,"action":{"kind":"status","code":501,"body":""}},
        {"path":"*GetTop*","skip":2,"times":1,"action":{"kind":"status","code":502,"body":""}},
        {"computer":"8","times":2,"action":{"kind":"status","code":503,"body":""}}]})";
    for (int run = 0; run < 2; ++run) {
        HttpClient first(service.port());
        HttpClient second(service.port());
        EXPECT_EQ(first.exchange("PUT", "/faults", several).status, 200);
        std::vector<int> statuses;
        for (const char* computer : {"7", "8", "7", "7", "7", "7", "8", "8"}) {
            HttpClient& client = statuses.size() % 2 == 0 ? first : second;
            statuses.push_back(client.post(poll, R"({"ToComputerID":")" + std::string(computer) + "\"}").status);
        }
        EXPECT_EQ(statuses, (std::vector{200, 503, 501, 501, 502, 200, 503, 200})) << run;
        const std::string plan = first.exchange("GET", "/faults", "").body;
        for (const char* counted : {R"("seen":5,"applied":2})", R"("seen":8,"applied":1})", R"("seen":3,"applied":2})"})
            EXPECT_NE(plan.find(counted), std::string::npos) << plan;
    }
}

TEST_F(AServiceWithFaults, SelectsByTheComputerThatARequestIsOf) {
    HttpClient client(service.port());
    item(10);
    plan(R"({"kind":"status","code":500,"body":""})", R"("computer":"7",)");
    const auto status = [&](std::string_view operation, std::string_view json) {
        return client.post(operation, json).status;
    };
    EXPECT_EQ(status(poll, R"({"ToComputerID":"7"})"), 500);
    EXPECT_EQ(status(poll, R"({"ToComputerID":7})"), 500);
    EXPECT_EQ(status(poll, R"({"ToComputerID":"8"})"), 200);
    EXPECT_EQ(status(poll, R"({"ToComputerID":["7"]})"), 200);
    EXPECT_EQ(status(poll, "[]"), 400);
    EXPECT_EQ(status("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"1"})"), 500);
    EXPECT_EQ(status("Uploads.svc/UpdateFileUpload", R"({"FileUploadID":"2"})"), 200);
    EXPECT_EQ(status("Downloads.svc/GetTopFileRequest", R"({"FromComputerID":"7"})"), 500);
    EXPECT_EQ(status("MAC/ErrorLog.svc/LogError", R"({"ComputerID":"7"})"), 500);
    EXPECT_EQ(status("SyncFileChanges.svc/SyncFilesInTableAndCloud", R"([{"ComputerID":"7"}])"), 500);
    EXPECT_EQ(status("SyncFileChanges.svc/SyncFilesInTableAndCloud", "[]"), 200);
    EXPECT_EQ(counters(), R"("seen":6,"applied":6}]})");
}

} // namespace webservice::test
