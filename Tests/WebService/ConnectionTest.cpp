// Requests and responses on one connection.

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"

#include <gtest/gtest.h>

namespace webservice::test {

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
