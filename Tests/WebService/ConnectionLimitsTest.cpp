// How much a connection takes, and when it is kept or closed.

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"

#include <gtest/gtest.h>

#include <chrono>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

class AConnectionAtItsLimits : public ::testing::Test {
protected:
    AConnectionAtItsLimits() {
        application.on("/hello", [] { return textResponse("hello"); });
    }

    std::uint16_t serve(const Limits& limits = {}) { return port = application.serve(limits); }

    /// By the time that another connection has been served twice, what was sent before has been read.
    void waitUntilRead() const {
        HttpClient other(port);
        EXPECT_EQ(other.exchange("GET", "/hello", "").body, "hello");
        EXPECT_EQ(other.exchange("GET", "/hello", "").body, "hello");
    }

    /// A request whose request line and headers, with the empty line, have so many bytes.
    static std::string requestOf(std::size_t size) {
        const std::string begin = "GET /hello HTTP/1.1\r\nA: ";
        return begin + std::string(size - begin.size() - 4, 'a') + "\r\n\r\n";
    }

    ServedApplication application;
    std::uint16_t port = 0;
};

constexpr const char* unknownPath =
    R"({"ReturnStatus":"1","error":{"code":"UnknownPath","message":"there is nothing at this path"}})";

} // namespace

TEST_F(AConnectionAtItsLimits, TakesHeadersOfAbout64KiB) {
    serve();
    for (const auto& [size, status] : {std::pair(65'000, 200), std::pair(66'000, 431)}) {
        HttpClient client(port);
        client.send(requestOf(static_cast<std::size_t>(size)));
        EXPECT_EQ(client.receive().status, status) << size;
    }
}

TEST_F(AConnectionAtItsLimits, TakesTheFirstLineOfAChunkOf64KiB) {
    serve();
    const std::string head = "POST /hello HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    HttpClient longest(port);
    longest.send(head + "1;" + std::string(65534, 'a'));
    waitUntilRead();
    longest.send("\r\nx\r\n0\r\n\r\n");
    EXPECT_EQ(longest.receive().body, "hello");
    HttpClient longer(port);
    longer.send(head + "1;" + std::string(65535, 'a'));
    EXPECT_EQ(longer.receive().status, 400);
}

TEST_F(AConnectionAtItsLimits, IsKeptAfterAnErrorWhoseBodyHasAtMost64KiB) {
    serve();
    HttpClient client(port);
    const HttpResponse kept = client.exchange("POST", "/nothing", std::string(65536, 'x'));
    EXPECT_EQ(kept.headerText,
              "HTTP/1.1 404 Not Found\r\nContent-Type: application/json\r\nContent-Length: 93\r\n\r\n");
    EXPECT_EQ(kept.body, unknownPath);
    EXPECT_EQ(client.exchange("GET", "/hello", "").body, "hello");
    const HttpResponse last = client.exchange("POST", "/nothing", std::string(65537, 'x'));
    EXPECT_EQ(last.headerText, "HTTP/1.1 404 Not Found\r\nContent-Type: application/json\r\nContent-Length: 93\r\n"
                               "Connection: close\r\n\r\n");
    EXPECT_EQ(last.body, unknownPath);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(AConnectionAtItsLimits, IsClosedAfterAnErrorWhoseBodyHasNoKnownLengthOrIsNotSentYet) {
    serve();
    for (const char* field : {"Transfer-Encoding: chunked\r\n", "Content-Length: 1\r\nExpect: 100-continue\r\n"}) {
        HttpClient client(port);
        client.send(std::string("POST /nothing HTTP/1.1\r\n") + field + "\r\n");
        const HttpResponse response = client.receive();
        EXPECT_EQ(response.status, 404) << field;
        EXPECT_EQ(response.headers.at("Connection"), "close");
        EXPECT_TRUE(client.isClosedByPeer());
    }
}

TEST_F(AConnectionAtItsLimits, IsClosedWhereTheClientDoesNotWantItKept) {
    serve();
    for (const char* request : {"GET /hello HTTP/1.0\r\n\r\n", "GET /hello HTTP/1.1\r\nConnection: close\r\n\r\n"}) {
        HttpClient client(port);
        client.send(request);
        EXPECT_EQ(client.receive().headerText, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\n");
        EXPECT_TRUE(client.isClosedByPeer());
    }
    HttpClient kept(port);
    kept.send("GET /hello HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_EQ(kept.receive().headerText, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
    EXPECT_EQ(kept.exchange("GET", "/hello", "").body, "hello");
}

TEST_F(AConnectionAtItsLimits, SendsNoContinueWhereTheBodyIsThereOrEmpty) {
    serve();
    for (const char* rest : {"Content-Length: 0\r\n\r\n", "Content-Length: 1\r\n\r\nx"}) {
        HttpClient client(port);
        client.send(std::string("POST /hello HTTP/1.1\r\nExpect: 100-Continue\r\n") + rest);
        EXPECT_EQ(client.receive().status, 200) << rest;
    }
}

TEST_F(AConnectionAtItsLimits, DoesNotHoldTheServerUpWhereItHasReceivedWhatOneReadTakes) {
    serve();
    for (const std::size_t size : {4096U, 8192U, 4096U + 65536U}) {
        HttpClient client(port);
        const std::string request = requestOf(size < 65536 ? size + 10 : 60'000) + std::string(100'000, ' ');
        client.send(std::string_view(request).substr(0, size));
        waitUntilRead();
    }
}

TEST_F(AConnectionAtItsLimits, IsShutDownAtOnceAndReadToItsEndAfterItsLastResponse) {
    serve({.lingerTimeout = 1h});
    HttpClient client(port);
    client.send("POST /nothing HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n");
    EXPECT_EQ(client.receive().status, 404);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(client.isClosedByPeer());
    // Two connections' worth of requests later, what is sent is still taken: the server has not closed the socket.
    for (int i = 0; i < 5; ++i) {
        client.send("x");
        waitUntilRead();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST_F(AConnectionAtItsLimits, IsReadAfterItsLastResponseAsFarAsTheLimitAllows) {
    serve({.maxDrain = 100'000, .lingerTimeout = 1h});
    HttpClient client(port);
    client.send("POST /nothing HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n" + std::string(90'000, 'x'));
    EXPECT_EQ(client.receive().status, 404);
    for (int i = 0; i < 3; ++i) {
        client.send("x");
        waitUntilRead();
    }
    EXPECT_TRUE(client.isClosedByPeer());
    const auto sendMore = [&] {
        for (int i = 0; i < 100; ++i) {
            client.send(std::string(10'000, 'x'));
            waitUntilRead();
        }
    };
    EXPECT_THROW(sendMore(), std::system_error);
}

TEST_F(AConnectionAtItsLimits, GetsA408WhereItsNextRequestDoesNotArriveInTime) {
    serve({.headerTimeout = 100ms});
    HttpClient behindAnother(port);
    HttpClient behindAnEmptyLine(port);
    HttpClient first(port);
    behindAnother.send("GET /hello HTTP/1.1\r\n\r\nGET /hel");
    behindAnEmptyLine.send("GET /hello HTTP/1.1\r\n\r\n\r\nGET /hel");
    first.send("\r\nGET /hel");
    EXPECT_EQ(behindAnother.receive().status, 200);
    EXPECT_EQ(behindAnEmptyLine.receive().status, 200);
    for (HttpClient* client : {&behindAnother, &behindAnEmptyLine, &first})
        EXPECT_EQ(client->receive().status, 408);
}

TEST_F(AConnectionAtItsLimits, CountsAResponseAsMemoryUntilItIsSent) {
    constexpr std::size_t size = 20'000'000;
    application.on("/long", [] { return textResponse(std::string(size, 'x')); });
    application.on("/otherwise", [] {
        Response response = textResponse(std::string(size, 'x'));
        response.transmission = std::make_shared<const Transmission>();
        return response;
    });
    serve({.maxMemory = 10'000'000});
    for (const std::string path : {"/long", "/otherwise"}) {
        HttpClient reader(port);
        EXPECT_EQ(reader.exchange("GET", path, "").body.size(), size);
        HttpClient other(port);
        EXPECT_EQ(other.exchange("GET", "/hello", "").body, "hello");
        EXPECT_EQ(reader.exchange("GET", "/hello", "").body, "hello"); // which holds nothing any more
        HttpClient silent(port);
        silent.send("GET " + path + " HTTP/1.1\r\n\r\n");
        EXPECT_FALSE(silent.receiveSome(15).empty());
        EXPECT_EQ(HttpClient(port).exchange("GET", "/hello", "").body, "hello");
        std::size_t received = 0;
        for (std::string some = "x"; !some.empty(); received += some.size())
            some = silent.receiveSome(1 << 20);
        EXPECT_LT(received, size) << path;
    }
}

} // namespace webservice::test
