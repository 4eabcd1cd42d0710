// Headers of requests and responses, apart from any connection: what is sent, read and refused.

#include "Platform/UrlLoading/RequestHeaders.h"

#include "Platform/UrlLoading/Challenge.h"
#include "Platform/UrlLoading/GatheredBody.h"
#include "Platform/UrlLoading/PieceBuffer.h"
#include "Platform/UrlLoading/ResponseHeaders.h"

#include <gtest/gtest.h>

namespace Platform {
namespace {

UrlRequest requestWith(std::string_view name, std::string_view value) {
    UrlRequest request;
    request.headerFields.set(name, value);
    return request;
}

std::optional<Error> errorOf(const UrlRequest& request, const HeaderFields& additional = {}) {
    const auto headers = RequestHeaders::of(request, additional);
    const auto* error = std::get_if<Error>(&headers);
    return error != nullptr ? std::optional(*error) : std::nullopt;
}

class AFieldThatHttpDoesNotAllow : public testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(AFieldThatHttpDoesNotAllow, MakesTheRequestUnusableWhereverItStands) {
    const auto& [name, value] = GetParam();
    const auto error = errorOf(requestWith(name, value));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, "UrlLoading");
    EXPECT_EQ(error->code, -1000);
    HeaderFields additional;
    additional.set(name, value);
    EXPECT_EQ(errorOf({}, additional), error);
}

INSTANTIATE_TEST_SUITE_P(Various, AFieldThatHttpDoesNotAllow,
                         testing::Values(std::pair("", "x"), std::pair("A B", "x"), std::pair("A:", "x"),
                                         std::pair("A\r\nB", "x"), std::pair("\xC3\xA4", "x"),
                                         std::pair("X", "a\r\nInjected: 1"), std::pair("X", "a\nb"),
                                         std::pair("X", "a\r"), std::pair("X", "\n"), std::pair("X", "\x7F"),
                                         std::pair("X", "\x01"), std::pair(std::string("X\0", 2), "x"),
                                         std::pair("X", std::string("a\0b", 3))));

TEST(RequestHeadersTest, RefusesAMethodThatIsNoToken) {
    for (const auto* method : {"", "GET ", "GET /x HTTP/1.1\r\nX: y", "a\nb"}) {
        UrlRequest request;
        request.httpMethod = method;
        const auto error = errorOf(request);
        ASSERT_TRUE(error) << method;
        EXPECT_EQ(*error, (Error{"UrlLoading", -1000,
                                 "The request has no usable URL or headers: the method is not one that HTTP allows"}));
    }
}

TEST(RequestHeadersTest, NamesTheFieldThatIsRefused) {
    EXPECT_EQ(errorOf(requestWith("FilePath", "a\nb"))->localizedDescription,
              "The request has no usable URL or headers: the header field \"FilePath\" has a value that HTTP does not "
              "allow");
}

TEST(RequestHeadersTest, LeavesBlanksAroundAValueOut) {
    const auto headers = std::get<RequestHeaders>(RequestHeaders::of(requestWith("X", " \t a b\t "), {}));
    EXPECT_EQ(headers.fields.valueForExactName("X"), "a b");
}

ResponseHeaders read(std::string_view text) {
    ResponseHeaders headers;
    while (!text.empty()) {
        const auto end = text.find('\n') + 1;
        headers.addLine(text.substr(0, end));
        text.remove_prefix(end);
    }
    return headers;
}

TEST(ResponseHeadersTest, KeepsNamesAsTheyCameAndJoinsRepeatedFields) {
    const auto headers = read("HTTP/1.1 200 OK\r\nreturnSTATUS: 0\r\nVia: a\r\nVIA:b \r\nEmpty:\r\n\r\n");
    EXPECT_EQ(headers.state(), ResponseHeaders::State::Complete);
    EXPECT_EQ(headers.statusCode(), 200);
    EXPECT_EQ(headers.fields().size(), 3U);
    EXPECT_EQ(headers.fields().valueForExactName("returnSTATUS"), "0");
    EXPECT_EQ(headers.fields().valueForExactName("Via"), "a, b");
    EXPECT_EQ(headers.fields().valueForExactName("Empty"), "");
    EXPECT_EQ(headers.contentLength(), std::nullopt);
}

TEST(ResponseHeadersTest, JoinsALineThatIsFoldedWithABlank) {
    const auto headers = read("HTTP/1.1 200 OK\r\nA: one\r\n  two\r\n\tthree\r\nB: x\r\n\r\n");
    EXPECT_EQ(headers.fields().valueForExactName("A"), "one two three");
    EXPECT_EQ(headers.fields().valueForExactName("B"), "x");
}

TEST(ResponseHeadersTest, SkipsInterimResponses) {
    const auto headers =
        read("HTTP/1.1 100 Continue\r\nA: 1\r\n\r\nHTTP/1.1 103 Hints\r\nB: 2\r\n\r\nHTTP/1.1 404 No\r\nC: 3\r\n\r\n");
    EXPECT_EQ(headers.statusCode(), 404);
    EXPECT_EQ(headers.fields().size(), 1U);
    EXPECT_EQ(headers.fields().valueForExactName("C"), "3");
}

TEST(ResponseHeadersTest, IsNotCompleteBeforeTheEmptyLine) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\nA: 1\r\n").state(), ResponseHeaders::State::Reading);
    EXPECT_EQ(read("HTTP/1.1 100 Continue\r\n\r\n").state(), ResponseHeaders::State::Reading);
}

TEST(ResponseHeadersTest, DoesNotLookAtWhatFollowsTheHeaders) {
    auto headers = read("HTTP/1.1 200 OK\r\nA: 1\r\n\r\n");
    EXPECT_EQ(headers.addLine("Trailer: x\r\n"), ResponseHeaders::State::Complete);
    EXPECT_EQ(headers.fields().size(), 1U);
}

TEST(ResponseHeadersTest, TellsTheLengthThatIsAnnounced) {
    const auto length = [](const std::string& fields) {
        return read("HTTP/1.1 200 OK\r\n" + fields + "\r\n").contentLength();
    };
    EXPECT_EQ(length("Content-Length: 42\r\n"), 42U);
    EXPECT_EQ(length("content-length: 18446744073709551615\r\n"), UINT64_MAX);
    EXPECT_EQ(length("Content-Length: 7\r\nContent-Length: 7\r\n"), 7U);
    EXPECT_EQ(length("Content-Length: 7, 7\r\n"), 7U);
    EXPECT_EQ(length("Content-Length: 7\r\nTransfer-Encoding: chunked\r\n"), std::nullopt);
}

class AMalformedHeaders : public testing::TestWithParam<std::string> {};

TEST_P(AMalformedHeaders, IsRefused) {
    EXPECT_EQ(read(GetParam()).state(), ResponseHeaders::State::Malformed);
}

INSTANTIATE_TEST_SUITE_P(Various, AMalformedHeaders,
                         testing::Values("hello\r\n", "HTTP/1.1\r\n", "HTTP/1.1 abc\r\n", "HTTP/1.1 20\r\n",
                                         "HTTP/1.1 099 x\r\n", "HTTP/1.1 101 Switching\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length:\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 1 1\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551616\r\n\r\n",
                                         "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"));

TEST(ResponseHeadersTest, RefusesMoreThanAThousandLines) {
    ResponseHeaders headers;
    headers.addLine("HTTP/1.1 200 OK\r\n");
    for (int line = 1; line < 1000; ++line)
        EXPECT_EQ(headers.addLine("A: 1\r\n"), ResponseHeaders::State::Reading);
    EXPECT_EQ(headers.addLine("A: 1\r\n"), ResponseHeaders::State::Malformed);
}

TEST(ResponseHeadersTest, RefusesMoreThan256KiB) {
    ResponseHeaders headers;
    headers.addLine("HTTP/1.1 200 OK\r\n"); // 17 bytes
    const std::string line = "A: " + std::string((64 << 10) - 5, 'x') + "\r\n";
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(headers.addLine(line), ResponseHeaders::State::Reading);
    EXPECT_EQ(headers.addLine(line.substr(17)), ResponseHeaders::State::Reading);
    EXPECT_EQ(headers.addLine("\n"), ResponseHeaders::State::Malformed);
}

bool asks(int status, std::string_view challenges) {
    HttpUrlResponse response;
    response.statusCode = status;
    response.allHeaderFields.set("www-authenticate", challenges);
    return asksForAuthentication(response);
}

TEST(ChallengeTest, IsAResponseOfStatus401WithAKnownScheme) {
    EXPECT_TRUE(asks(401, "Basic realm=\"x\""));
    EXPECT_TRUE(asks(401, "basic"));
    EXPECT_TRUE(asks(401, "DIGEST realm=x, nonce=\"1\""));
    EXPECT_TRUE(asks(401, "NTLM"));
    EXPECT_TRUE(asks(401, "Negotiate abc=="));
    EXPECT_TRUE(asks(401, "Bearer realm=\"a, Basic b\", error=\"x\" , Basic realm=\"y\""));
    EXPECT_TRUE(asks(401, "Bearer,NTLM"));
}

TEST(ChallengeTest, IsNoOtherResponse) {
    EXPECT_FALSE(asks(200, "Basic realm=\"x\""));
    EXPECT_FALSE(asks(407, "Basic realm=\"x\""));
    EXPECT_FALSE(asks(401, "Bearer"));
    EXPECT_FALSE(asks(401, ""));
    EXPECT_FALSE(asks(401, "Bearer realm=\"x, Basic y\""));
    EXPECT_FALSE(asks(401, "Bearer realm=\"x\\\", Basic y\""));
    EXPECT_FALSE(asks(401, "Bearer a=b, basic=c, NTLM = d"));
    EXPECT_FALSE(asks(401, "Basically"));
    HttpUrlResponse bare;
    bare.statusCode = 401;
    EXPECT_FALSE(asksForAuthentication(bare));
}

TEST(PieceBufferTest, TakesBytesWholeOrNotAtAll) {
    PieceBuffer buffer;
    EXPECT_EQ(buffer.room(), 1U << 20);
    EXPECT_TRUE(buffer.append(std::string((1 << 20) - 1, 'a')));
    EXPECT_FALSE(buffer.append("bc"));
    EXPECT_TRUE(buffer.append("b"));
    EXPECT_EQ(buffer.room(), 0U);
    const PieceBuffer piece = buffer.take();
    EXPECT_EQ(piece.view(), std::string((1 << 20) - 1, 'a') + "b");
    EXPECT_TRUE(buffer.empty());
    EXPECT_TRUE(buffer.append("c"));
    EXPECT_EQ(buffer.view(), "c");
}

TEST(GatheredBodyTest, HoldsAtMost64MiB) {
    GatheredBody body;
    HttpUrlResponse headers;
    headers.expectedContentLength = 64ULL << 20;
    EXPECT_EQ(body.expect(headers), std::nullopt);
    headers.expectedContentLength = (64ULL << 20) + 1;
    ASSERT_TRUE(body.expect(headers));
    EXPECT_EQ(body.expect(headers)->code, -1103);
    EXPECT_EQ(body.append(std::string(64 << 20, 'x')), std::nullopt);
    ASSERT_TRUE(body.append("x"));
    EXPECT_EQ(body.append("x")->code, -1103);
    EXPECT_EQ(body.take().size(), 64U << 20);
}

} // namespace
} // namespace Platform
