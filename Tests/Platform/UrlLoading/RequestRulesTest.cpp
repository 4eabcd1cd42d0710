// Which requests are sent at all, sent again, or changed by a redirect; and how much a body's memory takes.

#include "Platform/UrlLoading/GatheredBody.h"
#include "Platform/UrlLoading/PieceBuffer.h"
#include "Platform/UrlLoading/RequestHeaders.h"
#include "Platform/UrlLoading/ResponseHeaders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Platform {
namespace {

bool isAccepted(const std::string& name, const std::string& value) {
    UrlRequest request;
    request.headerFields.set(name, value);
    return std::holds_alternative<RequestHeaders>(RequestHeaders::of(request, {}));
}

TEST(ANameOfAField, ConsistsOfTheCharactersOfATokenAlone) {
    const std::string_view allowed = "!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        EXPECT_EQ(isAccepted(std::string(1, character), "x"), allowed.find(character) != std::string_view::npos)
            << byte;
    }
}

TEST(AValueOfAField, MayHoldEverythingButControlCharacters) {
    for (int byte = 0; byte < 256; ++byte) {
        const bool isControl = byte == 127 || (byte < 32 && byte != 9);
        EXPECT_EQ(isAccepted("A", "a" + std::string(1, static_cast<char>(byte)) + "b"), !isControl) << byte;
    }
}

TEST(ANameOfAField, IsNotRepeatedInTheErrorWhereItIsRefused) {
    UrlRequest request;
    request.headerFields.set("A B", "x");
    const auto headers = RequestHeaders::of(request, {});
    ASSERT_TRUE(std::holds_alternative<Error>(headers));
    EXPECT_EQ(std::get<Error>(headers).localizedDescription,
              "The request has no usable URL or headers: a header field has a name that HTTP does not allow");
}

RequestHeaders headersOf(const char* method) {
    RequestHeaders headers;
    headers.method = method;
    for (const auto* name : {"Host", "Authorization", "Cookie", "Content-Type", "Content-Encoding", "Content-Language",
                             "Content-Location", "Accept"})
        headers.fields.set(name, "x");
    return headers;
}

std::string names(const RequestHeaders& headers) {
    std::string result;
    for (const auto& [name, value] : headers.fields)
        result += name + " ";
    return result;
}

TEST(AMethod, IsIdempotentWhereItsRequestMayBeSentTwice) {
    for (const auto* method : {"GET", "HEAD", "OPTIONS", "TRACE", "PUT", "DELETE"})
        EXPECT_TRUE(headersOf(method).isIdempotent()) << method;
    for (const auto* method : {"POST", "PATCH", "CONNECT", "get", "LINK"})
        EXPECT_FALSE(headersOf(method).isIdempotent()) << method;
}

TEST(AStatus, IsARedirectWhereItNamesAnotherPlaceForTheSameRequest) {
    for (int status = 100; status < 600; ++status) {
        const bool redirects = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
        EXPECT_EQ(isRedirect(status), redirects) << status;
    }
}

TEST(AStatus, SaysWhetherARedirectedRequestKeepsMethodAndBody) {
    const std::vector<std::tuple<int, const char*, const char*>> examples{
        {301, "POST", "GET"}, {301, "PUT", "PUT"},   {301, "GET", "GET"},  {302, "POST", "GET"},
        {302, "PUT", "PUT"},  {303, "POST", "GET"},  {303, "PUT", "GET"},  {303, "HEAD", "HEAD"},
        {303, "GET", "GET"},  {307, "POST", "POST"}, {308, "POST", "POST"}};
    for (const auto& [status, method, next] : examples) {
        RequestHeaders headers = headersOf(method);
        const bool becomesGet = std::string_view(method) != next;
        EXPECT_EQ(headers.redirect(status, false), !becomesGet) << status << method;
        EXPECT_EQ(headers.method, next) << status << method;
        EXPECT_EQ(names(headers), becomesGet ? "Host Authorization Cookie Accept "
                                             : "Host Authorization Cookie Content-Type Content-Encoding "
                                               "Content-Language Content-Location Accept ");
        headers = headersOf(method);
        headers.redirect(status, true);
        EXPECT_EQ(names(headers),
                  becomesGet ? "Accept " : "Content-Type Content-Encoding Content-Language Content-Location Accept ");
    }
}

TEST(AFieldOfAResponse, IsTakenForTheOlderEncodingByteByByte) {
    ResponseHeaders headers;
    headers.addLine("HTTP/1.1 200 OK\r\n");
    headers.addLine("A: \x7F \x80 \xBF \xC0 \xFF\r\n");
    headers.addLine("\r\n");
    EXPECT_EQ(headers.fields().value("A"), "\x7F \xC2\x80 \xC2\xBF \xC3\x80 \xC3\xBF");
}

TEST(AFieldOfAResponse, WithoutANameIsLeftOutWithTheLinesThatContinueIt) {
    ResponseHeaders headers;
    for (const auto* line : {"HTTP/1.1 200 OK\r\n", "A: 1\r\n", ": 2\r\n", " 3\r\n", "no colon\r\n", "\t4\r\n", "\r\n"})
        headers.addLine(line);
    EXPECT_EQ(headers.state(), ResponseHeaders::State::Complete);
    EXPECT_EQ(headers.fields().size(), 1U);
    EXPECT_EQ(headers.fields().value("A"), "1");
}

TEST(AResponsesStatus, IsOfThreeDigitsFromOneHundredOn) {
    for (const auto& [line, status] : std::vector<std::pair<const char*, int>>{
             {"HTTP/1.1 200\r\n", 200}, {"HTTP/1.0 999 x\r\n", 999}, {"HTTP/1.1 200OK\r\n", 200}}) {
        ResponseHeaders headers;
        EXPECT_EQ(headers.addLine(line), ResponseHeaders::State::Reading) << line;
        EXPECT_EQ(headers.statusCode(), status);
    }
    ResponseHeaders lowest;
    EXPECT_EQ(lowest.addLine("HTTP/1.1 100 x\r\n"), ResponseHeaders::State::Reading);
    EXPECT_EQ(lowest.addLine("\r\n"), ResponseHeaders::State::Reading);
    ResponseHeaders interim;
    interim.addLine("HTTP/1.1 199 x\r\n");
    EXPECT_EQ(interim.addLine("\r\n"), ResponseHeaders::State::Reading);
}

TEST(AGatheredBody, TakesMemoryForWhatHasComeAndNoMoreThanAPieceBefore) {
    const auto expecting = [](std::uint64_t length, std::size_t received) {
        GatheredBody body;
        HttpUrlResponse response;
        response.expectedContentLength = length;
        EXPECT_EQ(body.expect(response), std::nullopt);
        if (received > 0) {
            EXPECT_EQ(body.append(std::string(received, 'x')), std::nullopt);
        }
        return body.take().capacity();
    };
    EXPECT_EQ(expecting(1000, 0), 1000U);
    EXPECT_EQ(expecting(64 << 20, 0), 1U << 20);
    EXPECT_EQ(expecting(64 << 20, 1 << 20), 1U << 20);
    EXPECT_EQ(expecting(3 << 20, (1 << 20) + 1), 3U << 20);
}

TEST(AGatheredBody, ThatBecomesTooLongSaysSo) {
    GatheredBody body;
    HttpUrlResponse response;
    response.expectedContentLength = (64 << 20) + 1;
    const Error tooLong{"UrlLoading", -1103, "The response is too long to be held in memory: more than 64 MiB"};
    EXPECT_EQ(body.expect(response), tooLong);
    EXPECT_EQ(body.append(std::string((64 << 20) + 1, 'x')), tooLong);
}

TEST(APieceBuffersMemory, StaysWhileItIsEmptiedAndGoesWithAPieceThatIsTaken) {
    PieceBuffer buffer;
    buffer.setCapacity(0);
    EXPECT_EQ(buffer.room(), 1U);
    buffer.setCapacity(10);
    EXPECT_TRUE(buffer.append("abc"));
    const char* memory = buffer.view().data();
    buffer.setCapacity(20);
    EXPECT_EQ(buffer.room(), 7U);
    buffer.clear();
    EXPECT_TRUE(buffer.append("0123456789"));
    EXPECT_EQ(buffer.view().data(), memory);
    EXPECT_FALSE(buffer.append("x"));
    EXPECT_TRUE(buffer.append(""));
    EXPECT_EQ(buffer.space().size(), 0U);
    const PieceBuffer piece = buffer.take();
    EXPECT_EQ(piece.view().data(), memory);
    EXPECT_EQ(piece.view(), "0123456789");
    EXPECT_EQ(buffer.space().size(), 10U);
    EXPECT_NE(buffer.space().data(), memory);
}

} // namespace
} // namespace Platform
