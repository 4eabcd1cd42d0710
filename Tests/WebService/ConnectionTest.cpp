// Requests and responses on one connection.

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <set>

namespace webservice::test {

TEST(AConnection, IsClosedAsSoonAsItsClientHasClosedIt) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    const std::string request = "GET /hello HTTP/1.1\r\n\r\n";
    // As a client that closes without a request, after one, after a second empty line and in the middle of one.
    for (const std::string& sent : {std::string(), request, request + "\r\n", request + "\r", request + "G"}) {
        HttpClient client(port);
        client.send(sent);
        if (!sent.empty()) {
            EXPECT_EQ(client.receive().body, "hello");
        }
        client.endInput();
        EXPECT_TRUE(client.isClosedByPeer()) << sent;
    }
}

TEST(AConnection, SkipsAnEmptyLineBeforeARequestInEverySplitOfTheBytes) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    const std::string request = "\r\nGET /hello HTTP/1.1\r\n\r\n";
    for (std::size_t first = 1; first <= 3; ++first) {
        for (std::size_t second = first; second <= 4; ++second) {
            HttpClient client(port);
            for (int i = 0; i < 2; ++i) {
                client.send(request.substr(0, first));
                client.send(request.substr(first, second - first));
                client.send(request.substr(second));
                EXPECT_EQ(client.receive().body, "hello") << first << ' ' << second;
            }
        }
    }
}

TEST(AServer, ServesThousandsOfConnectionsOneAfterTheOtherWithoutDelay) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    // More than a server that keeps what its clients have closed has places.
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3'000; ++i)
        ASSERT_EQ(HttpClient(port).exchange("GET", "/hello", "").body, "hello");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    EXPECT_EQ(connectionsInCloseWait(port), 0);
}

TEST(AConnection, ThatHoldsManyRequestsLetsOthersBeServedBetweenThem) {
    int responses = 0;
    ServedApplication application;
    application.on("/many", [&] {
        ++responses;
        return textResponse("x");
    });
    application.on("/count", [&] { return textResponse(std::to_string(responses)); });
    const std::uint16_t port = application.serve();
    std::string requests;
    for (int i = 0; i < 4000; ++i)
        requests += "GET /many HTTP/1.1\r\n\r\n";
    HttpClient eager(port);
    HttpClient other(port);
    EXPECT_EQ(other.exchange("GET", "/count", "").body, "0");
    eager.send(requests);
    EXPECT_EQ(eager.receive().body, "x");
    EXPECT_LT(std::stoi(other.exchange("GET", "/count", "").body), 4000);
}

TEST(AConnection, SendsNoBodyInResponseToHead) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    HttpClient client(application.serve());
    client.send("HEAD /hello HTTP/1.1\r\n\r\nHEAD /nothing HTTP/1.1\r\n\r\nGET /hello HTTP/1.1\r\n\r\n");
    std::string received;
    while (!received.ends_with("hello"))
        received += client.receiveSome(1000);
    EXPECT_EQ(received, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n"
                        "HTTP/1.1 404 Not Found\r\nContent-Type: application/json\r\nContent-Length: 93\r\n\r\n"
                        "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello");
}

TEST(AConnection, NeverLetsAHeaderValueEndItsLine) {
    ServedApplication application;
    application.on("/hello", [] {
        Response response;
        response.headers.emplace_back("Error", "a\r\nSet-Cookie: b\x7f\tc\xc3\xa4");
        return response;
    });
    EXPECT_EQ(HttpClient(application.serve()).exchange("GET", "/hello", "").headerText,
              "HTTP/1.1 200 OK\r\nError: a  Set-Cookie: b  c\xc3\xa4\r\nContent-Length: 0\r\n\r\n");
}

TEST(AConnection, SendsContinueOnlyToClientsOfHttp11) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    for (const char* version : {"1.0", "1.1"}) {
        HttpClient client(port);
        client.send(std::string("POST /hello HTTP/") + version +
                    "\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n");
        if (std::string(version) == "1.1") {
            EXPECT_EQ(client.receive().headerText, "HTTP/1.1 100 Continue\r\n\r\n");
        } else {
            // By the time that another connection has been served, the headers have been read.
            HttpClient other(port);
            EXPECT_EQ(other.exchange("GET", "/hello", "").body, "hello");
            EXPECT_EQ(other.exchange("GET", "/hello", "").body, "hello");
            EXPECT_FALSE(client.hasReceived());
        }
        client.send("ab");
        EXPECT_EQ(client.receive().body, "hello");
    }
}

TEST(AConnection, ClosesAfterAChunkWhoseFirstLineDoesNotEnd) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    HttpClient client(application.serve());
    client.send("POST /hello HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1;" + std::string(200'000, 'a'));
    const HttpResponse response = client.receive();
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"BadRequest","message":"a line is too long"}})");
}

TEST(AnExchange, LetsOtherRequestsBeServedBetweenItsSteps) {
    bool isReleased = false;
    ServedApplication application;
    application.on("/wait", [&]() -> std::optional<Response> {
        return isReleased ? std::optional(textResponse("released")) : std::nullopt;
    });
    application.on("/release", [&] {
        isReleased = true;
        return textResponse("done");
    });
    const std::uint16_t port = application.serve();
    HttpClient waiting(port);
    waiting.send("GET /wait HTTP/1.1\r\n\r\n");
    HttpClient other(port);
    EXPECT_EQ(other.exchange("GET", "/release", "").body, "done");
    EXPECT_EQ(waiting.receive().body, "released");
}

TEST(AnExchange, MayRefuseOrFailInALaterStep) {
    int steps = 0;
    ServedApplication application;
    application.on("/refuse", [&]() -> std::optional<Response> {
        return ++steps < 3 ? std::nullopt : throw RequestError("InTheWay", "no", 409);
    });
    application.on("/fail", [&]() -> std::optional<Response> {
        return ++steps < 6 ? std::nullopt : throw std::runtime_error("broken");
    });
    const std::uint16_t port = application.serve();
    EXPECT_EQ(HttpClient(port).exchange("GET", "/refuse", "").status, 409);
    EXPECT_EQ(steps, 3);
    const HttpResponse failure = HttpClient(port).exchange("GET", "/fail", "");
    EXPECT_EQ(failure.status, 500);
    EXPECT_EQ(failure.body, R"({"ReturnStatus":"1","error":{"code":"InternalError","message":"broken"}})");
    EXPECT_EQ(steps, 6);
}

TEST(AnExchange, ThatFailsAnywhereGetsA500) {
    ServedApplication application;
    const auto fail = [] { throw std::runtime_error("broken"); };
    application.on("/hello", [] { return textResponse("hello"); });
    application.on(
        "/begin", [] { return textResponse(""); }, fail);
    application.on(
        "/receive", [] { return textResponse(""); }, {}, fail);
    application.on("/step", []() -> std::optional<Response> { throw std::runtime_error("broken"); });
    application.on("/other", []() -> std::optional<Response> { throw 42; });
    const std::uint16_t port = application.serve();
    for (const auto& [path, message] : {std::pair("/begin", "broken"), std::pair("/receive", "broken"),
                                        std::pair("/step", "broken"), std::pair("/other", "an error without a text")}) {
        HttpClient client(port);
        const HttpResponse response = client.exchange("POST", path, "body");
        EXPECT_EQ(response.status, 500) << path;
        EXPECT_EQ(response.body,
                  std::string(R"({"ReturnStatus":"1","error":{"code":"InternalError","message":")") + message + "\"}}");
        EXPECT_TRUE(client.isClosedByPeer());
        EXPECT_EQ(HttpClient(port).exchange("GET", "/hello", "").body, "hello");
    }
}

TEST(AnExchange, IsRefusedWhereOthersThatAreWorkedOnHoldTooMuchMemory) {
    bool isReleased = false;
    ServedApplication application;
    application.on("/wait", [&]() -> std::optional<Response> {
        return isReleased ? std::optional(textResponse("released")) : std::nullopt;
    });
    application.on("/release", [&] {
        isReleased = true;
        return textResponse("done");
    });
    const std::uint16_t port = application.serve({.maxMemory = 400'000});
    const std::string request = "POST /wait HTTP/1.1\r\nContent-Length: 60000\r\n\r\n" + std::string(60'000, 'x');
    std::vector<std::unique_ptr<HttpClient>> waiting;
    for (int i = 0; i < 5; ++i) {
        waiting.push_back(std::make_unique<HttpClient>(port));
        waiting.back()->send(request);
    }
    // What comes last is refused; small requests are not.
    int refused = 0;
    while (refused == 0) {
        for (const auto& client : waiting)
            refused += client->hasReceived() ? 1 : 0;
    }
    EXPECT_EQ(HttpClient(port).exchange("GET", "/release", "").body, "done");
    std::multiset<int> statuses;
    for (const auto& client : waiting) {
        const HttpResponse response = client->receive();
        statuses.insert(response.status);
        if (response.status == 503) {
            EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"Busy",)"
                                     R"("message":"too many long requests are being worked on; try again"}})");
        }
    }
    EXPECT_GE(statuses.count(200), 1U);
    EXPECT_GE(statuses.count(503), 1U);
    EXPECT_EQ(statuses.count(200) + statuses.count(503), 5U);
    EXPECT_EQ(HttpClient(port).exchange("POST", "/wait", std::string(60'000, 'x')).body, "released");
}

} // namespace webservice::test
