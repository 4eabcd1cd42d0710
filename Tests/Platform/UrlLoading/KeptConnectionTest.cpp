// What a server may send on a connection that serves one request after the other, over both interfaces.

#include "Platform/UrlLoading/UrlConnection.h"
#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

/// How a request is made; what it brings must be the same.
struct Interface {
    const char* name;
    std::function<void(UrlRequest, LoadResult&)> load;
};

void PrintTo(const Interface& interface, std::ostream* stream) {
    *stream << interface.name;
}

class AKeptConnection : public UrlLoadingTest, public testing::WithParamInterface<Interface> {
protected:
    LoadResult loadIt(UrlRequest request) {
        LoadResult result;
        GetParam().load(std::move(request), result);
        EXPECT_TRUE(loop.runUntil([&] { return result.done; })) << "no response was received";
        settle();
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(
    Both, AKeptConnection,
    testing::Values(Interface{"Session",
                              [](UrlRequest request, LoadResult& result) {
                                  UrlSession::sessionWithConfiguration({})
                                      ->dataTaskWithRequest(
                                          std::move(request),
                                          [&result](auto data, auto response, auto error) {
                                              result = {true, std::move(data), std::move(response), std::move(error)};
                                          })
                                      ->resume();
                              }},
                    Interface{"Connection",
                              [](UrlRequest request, LoadResult& result) {
                                  UrlConnection::sendAsynchronousRequest(
                                      std::move(request), Queue::main(),
                                      [&result](auto response, auto data, auto error) {
                                          result = {true, std::move(data), std::move(response), std::move(error)};
                                      });
                              }}),
    [](const auto& place) { return std::string(place.param.name); });

TEST_P(AKeptConnection, OutlivesNoHeaderFieldOfAnEarlierResponse) {
    // A continued line that continues nothing. A transport that looks for the line above it finds one of the response
    // before, whose memory is freed.
    const std::string hostile = "HTTP/1.1 200 OK\r\n c: d\r\nContent-Length: 20\r\n\r\n{\"ReturnStatus\":\"1\"}";
    for (int round = 0; round < 3; ++round) {
        server.enqueue(HttpReply::ok("normal", {{"X-Field", std::string(200, 'x')}}));
        EXPECT_EQ(loadIt(get("/")).data, "normal");
        for (int again = 0; again < 2; ++again) {
            server.enqueue(HttpReply::raw(hostile));
            const LoadResult result = loadIt(post("/", "{}"));
            EXPECT_EQ(result.code(), -1011);
            EXPECT_FALSE(result.response);
        }
    }
    // The same on the connection of the normal response.
    server.enqueue(HttpReply::ok("normal"));
    server.enqueue(HttpReply::raw(hostile));
    const std::size_t before = server.acceptedConnections();
    EXPECT_EQ(loadIt(get("/")).data, "normal");
    EXPECT_EQ(loadIt(get("/")).code(), -1011);
    EXPECT_EQ(server.acceptedConnections(), before + 1);
}

const std::string unasked = "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\nunasked";

/// Responses that end in every way that leaves a connection open.
const std::vector<std::string> responses = {
    "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc",
    "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
    "HTTP/1.1 204 No Content\r\n\r\n",
    "HTTP/1.1 304 Not Modified\r\n\r\n",
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n",
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nTrailer: x\r\n\r\n",
};

TEST_P(AKeptConnection, IsUsedAgainAfterEveryResponseThatEndsInItself) {
    for (const auto& response : responses) {
        server.enqueue(HttpReply::raw(response));
        EXPECT_EQ(loadIt(post("/", "{}")).code(), 0) << response;
    }
    EXPECT_EQ(server.acceptedConnections(), 1U);
}

TEST_P(AKeptConnection, ThatHasBroughtUnaskedBytesWithAResponseIsNotUsed) {
    std::size_t connections = 0;
    for (const auto& response : responses) {
        for (const auto& more : {unasked, std::string("x"), std::string("\r\n"), unasked.substr(0, 20)}) {
            server.enqueue(HttpReply::raw(response + more));
            EXPECT_EQ(loadIt(post("/", "{}")).code(), 0) << response;
            server.enqueue(HttpReply::ok("asked"));
            EXPECT_EQ(loadIt(post("/", "{}")).data, "asked") << response << more;
            // It is closed on this side, and the next request has a connection of its own.
            EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 1; })) << response << more;
            server.closeAll();
            connections += 2;
            EXPECT_EQ(server.acceptedConnections(), connections) << response << more;
        }
    }
}

TEST_P(AKeptConnection, ThatBringsUnaskedBytesWhileNobodyUsesItIsClosedAtOnce) {
    server.enqueue(HttpReply::ok("first"));
    EXPECT_EQ(loadIt(get("/")).data, "first");
    server.send(0, unasked);
    EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
    server.enqueue(HttpReply::ok("asked"));
    EXPECT_EQ(loadIt(post("/", "{}")).data, "asked");
    EXPECT_EQ(server.acceptedConnections(), 2U);
}

TEST_P(AKeptConnection, ThatBringsUnaskedBytesJustBeforeARequestIsNotUsed) {
    for (std::size_t round = 0; round < 20; ++round) {
        server.enqueue(HttpReply::ok("first"));
        EXPECT_EQ(loadIt(get("/")).data, "first");
        server.enqueue(HttpReply::ok("asked"));
        // The loop has not seen them when the request starts.
        server.sendNow(round, unasked);
        LoadResult result;
        GetParam().load(post("/", "{}"), result);
        ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
        EXPECT_EQ(result.data, "asked");
        settle();
        EXPECT_EQ(server.openConnections(), 1U);
        EXPECT_EQ(server.acceptedConnections(), round + 2);
    }
}

TEST_P(AKeptConnection, IsNotUsedForTheResponseToTheRequestAfterATimeout) {
    server.enqueue(HttpReply::silence());
    LoadResult late;
    GetParam().load(post("/", "{}"), late);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    advance(std::chrono::seconds(60));
    EXPECT_EQ(late.code(), -1001);
    server.sendNow(0, unasked);
    server.enqueue(HttpReply::ok("asked"));
    EXPECT_EQ(loadIt(post("/", "{}")).data, "asked");
}

TEST_P(AKeptConnection, ThatIsLostAfterARequestWasReadCostsAPostAndIsSeenOnce) {
    for (const auto& end : {HttpReply::silence().thenReset(), HttpReply::silence().thenClose()}) {
        server.forgetRequests();
        server.enqueue(HttpReply::ok("first"));
        EXPECT_EQ(loadIt(get("/first")).data, "first");
        const std::size_t connections = server.acceptedConnections();
        server.enqueue(end);
        const LoadResult result = loadIt(post("/RegisterComputer", "{\"a\":1}"));
        EXPECT_EQ(result.code(), -1005);
        EXPECT_FALSE(result.response);
        settle();
        ASSERT_EQ(server.requests().size(), 2U);
        EXPECT_EQ(server.requests()[1].target, "/RegisterComputer");
        EXPECT_EQ(server.requests()[1].connection, server.requests()[0].connection);
        EXPECT_EQ(server.acceptedConnections(), connections);
    }
}

TEST_P(AKeptConnection, ThatWasClosedBeforeAPostCostsNothing) {
    for (std::size_t round = 0; round < 5; ++round) {
        server.enqueue(HttpReply::ok("first"));
        EXPECT_EQ(loadIt(post("/", "1")).data, "first");
        server.enqueue(HttpReply::ok("second"));
        round % 2 == 0 ? server.closeAll() : server.reset(server.acceptedConnections() - 1);
        LoadResult result;
        GetParam().load(post("/", "2"), result);
        ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
        EXPECT_EQ(result.data, "second");
    }
    EXPECT_EQ(server.requests().size(), 10U);
}

} // namespace
} // namespace Platform
