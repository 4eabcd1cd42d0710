// What a session delivers of a response: its headers and its body, in every framing.

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

class AResponse : public UrlLoadingTest {
protected:
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();

    /// Starts a task whose response goes to the recorder.
    std::shared_ptr<UrlSessionTask> startStreaming(std::string_view target) {
        auto task = makeSession(recorder)->dataTaskWithRequest(get(target));
        task->resume();
        return task;
    }
    void runToEnd() {
        ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    }
};

Data pattern(std::size_t size) {
    Data data(size, '\0');
    for (std::size_t at = 0; at < size; ++at)
        data[at] = static_cast<char>((at * 7 + at / 1000) % 253);
    return data;
}

std::string chunk(std::string_view bytes) {
    std::array<char, 20> size{};
    std::snprintf(size.data(), size.size(), "%zx", bytes.size());
    return std::string(size.data()) + "\r\n" + std::string(bytes) + "\r\n";
}

const std::string chunkedHeaders = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

TEST_F(AResponse, IsDeliveredWholeWithItsHeaders) {
    server.enqueue(HttpReply::json("{\"ReturnStatus\":\"0\"}"));
    const LoadResult result = load(post("/Uploads.svc/GetTopFileUpload", "{}"));
    EXPECT_EQ(result.error, std::nullopt);
    EXPECT_EQ(result.data, "{\"ReturnStatus\":\"0\"}");
    ASSERT_TRUE(result.response);
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_EQ(result.response->url, url("/Uploads.svc/GetTopFileUpload"));
    EXPECT_EQ(result.response->expectedContentLength, 20U);
    EXPECT_EQ(result.response->allHeaderFields.valueForExactName("Content-Type"), "application/json");
}

TEST_F(AResponse, OfAnyStatusIsAResponse) {
    for (const int status : {200, 206, 300, 304, 400, 401, 404, 500, 599}) {
        server.enqueue(status == 304 ? HttpReply::raw("HTTP/1.1 304 x\r\nContent-Length: 9\r\n\r\n")
                                     : HttpReply::status(status, "{}"));
        const LoadResult result = load(post("/", "{}"));
        EXPECT_EQ(result.error, std::nullopt) << status;
        EXPECT_EQ(result.data, status == 304 ? "" : "{}") << status;
        EXPECT_EQ(result.response->statusCode, status);
    }
}

TEST_F(AResponse, OfNoBytesIsNoDataRatherThanNone) {
    server.enqueue(HttpReply::ok());
    EXPECT_EQ(load(get("/")).data, "");
    server.enqueue(HttpReply::raw("HTTP/1.1 204 No Content\r\n\r\n"));
    EXPECT_EQ(load(get("/")).data, "");
}

TEST_F(AResponse, KeepsTheNamesAndBytesOfItsHeadersExactly) {
    const LoadResult result = loadRaw("HTTP/1.1 200 OK\r\nrETURNsTATUS:0\r\nFileName: \\Docs\\\xC3\xA4 \t\r\nVia: 1\r\n"
                                      "VIA: 2\r\nFolded: a\r\n b\r\nNothing:\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(result.response);
    const auto& fields = result.response->allHeaderFields;
    EXPECT_EQ(fields.valueForExactName("rETURNsTATUS"), "0");
    EXPECT_EQ(fields.valueForExactName("ReturnStatus"), std::nullopt);
    EXPECT_EQ(fields.valueForExactName("FileName"), "\\Docs\\\xC3\xA4");
    EXPECT_EQ(fields.valueForExactName("Via"), "1, 2");
    EXPECT_EQ(fields.valueForExactName("Folded"), "a b");
    EXPECT_EQ(fields.valueForExactName("Nothing"), "");
    EXPECT_EQ(fields.size(), 6U);
}

TEST_F(AResponse, HasTheFieldsOfItsLastHeadersAndNoTrailers) {
    const LoadResult result = loadRaw("HTTP/1.1 100 Continue\r\nA: 1\r\n\r\nHTTP/1.1 103 Hints\r\nB: 2\r\n\r\n"
                                      "HTTP/1.1 200 OK\r\nC: 3\r\nTransfer-Encoding: chunked\r\n\r\n"
                                      "2\r\nab\r\n0\r\nD: 4\r\n\r\n");
    EXPECT_EQ(result.data, "ab");
    ASSERT_TRUE(result.response);
    EXPECT_EQ(result.response->allHeaderFields.size(), 2U);
    EXPECT_EQ(result.response->allHeaderFields.valueForExactName("C"), "3");
}

TEST_F(AResponse, MayEndWithItsConnectionWhereNoLengthIsAnnounced) {
    const LoadResult old = loadRaw("HTTP/1.0 200 OK\r\n\r\nolder server");
    EXPECT_EQ(old.data, "older server");
    EXPECT_EQ(old.response->expectedContentLength, std::nullopt);
    EXPECT_EQ(loadRaw("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n").data, "");
}

TEST_F(AResponse, EndsWhereItsLengthSays) {
    EXPECT_EQ(loadRaw("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcdef").data, "abc");
}

TEST_F(AResponse, MayComeInChunksOfAnySize) {
    EXPECT_EQ(loadRaw(chunkedHeaders + chunk("hello ") + chunk("world") + "0\r\n\r\n").data, "hello world");
    EXPECT_EQ(loadRaw(chunkedHeaders + "5;name=value\r\nhello\r\n000\r\n\r\n").data, "hello");
    EXPECT_EQ(loadRaw(chunkedHeaders + "0\r\n\r\n").data, "");
    server.enqueue(HttpReply::raw(chunkedHeaders + chunk("hello ") + chunk("world") + "0\r\n\r\n").inPiecesOf(1));
    EXPECT_EQ(load(get("/")).data, "hello world");
    const Data large = pattern(3 << 20);
    EXPECT_EQ(loadRaw(chunkedHeaders + chunk(large) + chunk(large) + "0\r\n\r\n").data, large + large);
}

TEST_F(AResponse, WithHeadersOf200KiBIsRead) {
    std::string headers = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
    for (int field = 0; field < 100; ++field)
        headers += "X-" + std::to_string(field) + ": " + std::string(2048, 'x') + "\r\n";
    const LoadResult result = loadRaw(headers + "\r\n");
    ASSERT_TRUE(result.response);
    EXPECT_EQ(result.response->allHeaderFields.size(), 101U);
    EXPECT_EQ(result.response->allHeaderFields.valueForExactName("X-99"), std::string(2048, 'x'));
}

TEST_F(AResponse, GoesToTheDelegateInOrderInPiecesOfAtMostOneMiB) {
    const Data body = pattern((5 << 20) + 12345);
    server.enqueue(HttpReply::ok(body));
    startStreaming("/");
    runToEnd();
    EXPECT_EQ(recorder->error, std::nullopt);
    EXPECT_TRUE(recorder->data == body);
    for (const auto size : recorder->pieces)
        EXPECT_LE(size, 1U << 20);
    EXPECT_EQ(recorder->calls.back(), "end 0");
}

TEST_F(AResponse, InChunksGoesToTheDelegateInOrderInPiecesOfAtMostOneMiB) {
    const Data body = pattern((5 << 20) + 12345);
    std::string bytes = chunkedHeaders;
    for (std::size_t at = 0; at < body.size(); at += 70000)
        bytes += chunk(std::string_view(body).substr(at, 70000));
    server.enqueue(HttpReply::raw(bytes + "0\r\n\r\n"));
    startStreaming("/");
    runToEnd();
    EXPECT_EQ(recorder->error, std::nullopt);
    EXPECT_TRUE(recorder->data == body);
    for (const auto size : recorder->pieces)
        EXPECT_LE(size, 1U << 20);
}

TEST_F(AResponse, GoesToTheDelegateAsItArrives) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 37\r\nReturnStatus: 0\r\n\r\n"));
    const auto task = startStreaming("/");
    ASSERT_TRUE(loop.runUntil([&] { return task->response() != nullptr; }));
    EXPECT_TRUE(recorder->calls.empty());
    for (const std::size_t size : {16U, 16U, 5U}) {
        const std::size_t before = recorder->pieces.size();
        server.send(0, std::string(size, 'x'));
        ASSERT_TRUE(loop.runUntil([&] { return recorder->pieces.size() > before; }));
    }
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 16", "data 16", "data 5", "end 0"}));
    EXPECT_EQ(recorder->data, std::string(37, 'x'));
}

TEST_F(AResponse, GoesToTheDelegateAsItArrivesAlsoWhereMuchCameFastBefore) {
    const Data much = pattern(16 << 20);
    server.enqueue(
        HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(3 * much.size()) + "\r\n\r\n" + much));
    startStreaming("/");
    std::size_t sent = much.size();
    for (const std::size_t size : {std::size_t{1000}, std::size_t{1}, much.size(), std::size_t{70000}}) {
        ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == sent; })) << recorder->data.size();
        server.send(0, std::string(size, 'x'));
        sent += size;
    }
    server.send(0, std::string(3 * much.size() - sent, 'y'));
    runToEnd();
    EXPECT_EQ(recorder->calls.back(), "end 0");
    EXPECT_EQ(recorder->data.size(), 3 * much.size());
    EXPECT_TRUE(recorder->data.starts_with(much));
}

TEST_F(AResponse, ThatCameAtOnceIsOnePiece) {
    server.enqueue(HttpReply::raw(chunkedHeaders + chunk("one") + chunk("two") + chunk("three") + "0\r\n\r\n"));
    startStreaming("/");
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 11", "end 0"}));
}

TEST_F(AResponse, OfNoBytesGivesTheDelegateItsEndAlone) {
    server.enqueue(HttpReply::ok({}, {{"ReturnStatus", "2"}}));
    const auto task = startStreaming("/");
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end 0"}));
    ASSERT_NE(task->response(), nullptr);
    EXPECT_EQ(task->response()->allHeaderFields.valueForExactName("ReturnStatus"), "2");
}

TEST_F(AResponse, HasItsHeadersAtTheFirstPiece) {
    server.enqueue(HttpReply::ok("x", {{"ReturnStatus", "0"}}));
    std::optional<std::string> status;
    recorder->duringData = [&](UrlSessionTask& task) {
        ASSERT_NE(task.response(), nullptr);
        status = task.response()->allHeaderFields.valueForExactName("ReturnStatus");
    };
    startStreaming("/");
    runToEnd();
    EXPECT_EQ(status, "0");
}

TEST_F(AResponse, ThatNobodyTakesIsNotReadOn) {
    // More than the kernel keeps for a connection (tcp(7), tcp_rmem and tcp_wmem).
    const Data body(64 << 20, 'x');
    for (const auto& reply : {HttpReply::ok(body), HttpReply::raw(chunkedHeaders + chunk(body) + "0\r\n\r\n")}) {
        recorder = std::make_shared<Recorder>();
        server.enqueue(reply);
        const auto task = startStreaming("/");
        ASSERT_TRUE(loop.runUntil([&] { return !recorder->pieces.empty(); }));
        task->suspend();
        settle();
        const std::size_t taken = recorder->data.size();
        settle();
        EXPECT_EQ(recorder->data.size(), taken);
        EXPECT_GT(server.unsentBytes(server.acceptedConnections() - 1), 0U);
        task->resume();
        runToEnd();
        EXPECT_EQ(recorder->data.size(), body.size());
    }
}

TEST_F(AResponse, ThatIsAnnouncedTooLongForMemoryEndsAtOnce) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 1073741824\r\n\r\nabc"));
    const LoadResult result = load(get("/"));
    EXPECT_EQ(result.code(), -1103);
    EXPECT_EQ(result.data, std::nullopt);
    ASSERT_TRUE(result.response);
    EXPECT_EQ(result.response->expectedContentLength, 1073741824U);
    ASSERT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
}

/// A chunked body of 64 MiB and `more` bytes, which no header field announces.
std::string unannounced(std::size_t more) {
    return chunkedHeaders + chunk(Data((64 << 20) + more, 'x')) + "0\r\n\r\n";
}

TEST_F(AResponse, ThatBecomesTooLongForMemoryEndsAtOnce) {
    server.enqueue(HttpReply::raw(unannounced(0)));
    EXPECT_EQ(load(get("/")).data.value_or("").size(), 67108864U);
    // Much more than is read on.
    server.enqueue(HttpReply::raw(unannounced(32 << 20)));
    const LoadResult result = load(get("/"));
    EXPECT_EQ(result.code(), -1103);
    EXPECT_EQ(result.data, std::nullopt);
    ASSERT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(AResponse, MayBeLongerThanThatForADelegate) {
    server.enqueue(HttpReply::raw(unannounced(1)));
    startStreaming("/");
    runToEnd();
    EXPECT_EQ(recorder->error, std::nullopt);
    EXPECT_EQ(recorder->data.size(), 67108865U);
}

TEST_F(AResponse, HasTextInItsFieldsWhateverBytesTheyCameIn) {
    const LoadResult result =
        loadRaw("HTTP/1.1 200 OK\r\nLatin: \\\xFC.txt\r\nUtf8: \xC3\xBC \xF0\x9F\x98\x80\r\nBroken: \xC3\r\n"
                "Both: \xC3\xBC\r\nBoth: \xE4\r\n \x80\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(result.response);
    const auto& fields = result.response->allHeaderFields;
    EXPECT_EQ(fields.value("Latin"), "\\\xC3\xBC.txt");
    EXPECT_EQ(fields.value("Utf8"), "\xC3\xBC \xF0\x9F\x98\x80");
    EXPECT_EQ(fields.value("Broken"), "\xC3\x83");
    EXPECT_EQ(fields.value("Both"), "\xC3\xBC, \xC3\xA4 \xC2\x80");
}

TEST_F(AResponse, IsLoggedWithAddressStatusAndFields) {
    server.enqueue(HttpReply::ok("x"));
    EXPECT_EQ(text(*load(get("/a")).response),
              server.url("/a") + " status 200, headers {\n    \"Content-Length\" = \"1\";\n}");
}

} // namespace
} // namespace Platform
