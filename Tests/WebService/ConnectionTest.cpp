// Requests and responses on one connection.

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"

#include <gtest/gtest.h>

#include <chrono>

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

TEST(AConnection, PassesOverAnEmptyLineBeforeARequestInEverySplitOfTheBytes) {
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

TEST(AServer, AnswersThousandsOfConnectionsOneAfterTheOtherWithoutDelay) {
    ServedApplication application;
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    // More than a server that keeps what its clients have closed has places.
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3'000; ++i) {
        ASSERT_EQ(HttpClient(port).exchange("GET", "/hello", "").body, "hello");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    EXPECT_EQ(connectionsLeftToClose(port), 0);
}

TEST(AnExchange, LetsOtherRequestsBeAnsweredBetweenItsSteps) {
    ServedApplication application;
    bool isReleased = false;
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
    ServedApplication application;
    int steps = 0;
    application.on("/refuse", [&]() -> std::optional<Response> {
        return ++steps < 3 ? std::nullopt : throw Refused{errorResponse(409, "InTheWay", "no")};
    });
    application.on("/fail", [&]() -> std::optional<Response> {
        return ++steps < 6 ? std::nullopt : throw std::runtime_error("broken");
    });
    const std::uint16_t port = application.serve();
    EXPECT_EQ(HttpClient(port).exchange("GET", "/refuse", "").status, 409);
    EXPECT_EQ(steps, 3);
    const HttpAnswer failure = HttpClient(port).exchange("GET", "/fail", "");
    EXPECT_EQ(failure.status, 500);
    EXPECT_EQ(failure.body, R"({"ReturnStatus":"1","error":{"code":"InternalError","message":"broken"}})");
    EXPECT_EQ(steps, 6);
}

} // namespace webservice::test
