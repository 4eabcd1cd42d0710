// Parsing of HTTP request heads.

#include "WebService/Http/RequestHead.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

int statusOf(std::string_view head) {
    try {
        parseRequestHead(head);
    } catch (const BadRequest& bad) {
        return bad.status();
    }
    return 0;
}

} // namespace

TEST(ARequestHead, GivesMethodTargetAndFieldsAsTheyWereSent) {
    const RequestHead head = parseRequestHead("POST /a%20b?x=1&y=%2F HTTP/1.1\r\nHost: h\r\nFilePath:  \\100%25\\ä \r\n"
                                              "content-length: 12\r\n\r\n");
    EXPECT_EQ(head.method, "POST");
    EXPECT_EQ(head.path(), "/a%20b");
    EXPECT_EQ(head.query(), "x=1&y=%2F");
    EXPECT_EQ(head.header("filepath"), "\\100%25\\ä");
    EXPECT_EQ(head.header("Host"), "h");
    EXPECT_EQ(head.header("Accept"), std::nullopt);
    EXPECT_EQ(head.length, 12U);
    EXPECT_TRUE(head.keepAlive);
    EXPECT_FALSE(head.chunked);
    EXPECT_FALSE(head.expectsContinue);
}

TEST(ARequestHead, TellsHowTheConnectionGoesOn) {
    EXPECT_FALSE(parseRequestHead("GET / HTTP/1.0\r\n\r\n").keepAlive);
    EXPECT_FALSE(parseRequestHead("GET / HTTP/1.1\r\nConnection: TE, Close\r\n\r\n").keepAlive);
    EXPECT_TRUE(parseRequestHead("GET / HTTP/1.1\r\nConnection: keep-alive\r\n\r\n").keepAlive);
    EXPECT_TRUE(parseRequestHead("PUT / HTTP/1.1\r\nExpect: 100-continue\r\n\r\n").expectsContinue);
    EXPECT_TRUE(parseRequestHead("PUT / HTTP/1.1\r\nTransfer-Encoding: Chunked\r\n\r\n").chunked);
    EXPECT_EQ(parseRequestHead("GET / HTTP/1.1\nHost: h\n\n").header("Host"), "h");
}

TEST(ARequestHead, IsRefusedWithTheStatusThatSaysWhy) {
    EXPECT_EQ(statusOf("GET\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET /\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET  HTTP/1.1\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("G\x01T / HTTP/1.1\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET /a b HTTP/1.1\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / SPDY/3\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/2.0\r\n\r\n"), 505);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nno colon\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n: empty\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nA : b\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nA: b\rc\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nContent-Length: 1x\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n"), 400);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n"), 501);
    EXPECT_EQ(statusOf("GET / HTTP/1.1\r\nExpect: tea\r\n\r\n"), 417);
    std::string many = "GET / HTTP/1.1\r\n";
    for (int i = 0; i < 101; ++i) {
        many += "A: b\r\n";
    }
    EXPECT_EQ(statusOf(many + "\r\n"), 431);
}

TEST(PercentDecoding, TakesTwoHexadecimalDigitsAndNothingElse) {
    EXPECT_EQ(percentDecoded("a%20b%C3%a4"), "a bä");
    EXPECT_EQ(percentDecoded("a+b"), "a+b");
    EXPECT_EQ(percentDecoded("%"), std::nullopt);
    EXPECT_EQ(percentDecoded("%2"), std::nullopt);
    EXPECT_EQ(percentDecoded("%2g"), std::nullopt);
    EXPECT_EQ(percentDecoded("%-1"), std::nullopt);
}

TEST(AQueryValue, IsFoundByItsWholeName) {
    EXPECT_EQ(queryValue("computer=7", "computer"), "7");
    EXPECT_EQ(queryValue("xcomputer=1&computer=a+b%26&z=", "computer"), "a b&");
    EXPECT_EQ(queryValue("z=&y", "z"), "");
    EXPECT_EQ(queryValue("computer", "computer"), std::nullopt);
    EXPECT_EQ(queryValue("", "computer"), std::nullopt);
}

} // namespace webservice
