// What a session sends, byte for byte.

#include "Support/ScopedEnvironment.h"
#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

/// The name of this program and the version of the product.
const std::string userAgent = "User-Agent: UrlLoadingTests/" PRODUCT_VERSION "\r\n";

class ARequest : public UrlLoadingTest {
protected:
    /// The bytes that go over the wire for it.
    std::string sent(UrlRequest request, const HeaderFields& additional = {}) {
        server.enqueue(HttpReply::ok("x"));
        UrlSessionConfiguration configuration;
        configuration.httpAdditionalHeaders = additional;
        LoadResult result;
        start(*UrlSession::sessionWithConfiguration(configuration), std::move(request), result);
        EXPECT_TRUE(loop.runUntil([&] { return result.done; }));
        EXPECT_EQ(result.error, std::nullopt);
        return server.requests().empty() ? std::string() : server.requests().back().bytes;
    }
    std::string host() const { return "Host: " + server.host() + "\r\n"; }
    /// The code of the error that a request ends with which must not be sent.
    int refusal(UrlRequest request) {
        const LoadResult result = load(std::move(request));
        EXPECT_EQ(result.data, std::nullopt);
        EXPECT_FALSE(result.response);
        EXPECT_EQ(server.acceptedConnections(), 0U);
        return result.code();
    }
};

TEST_F(ARequest, HasNoFieldOfItsOwnButHostAndUserAgent) {
    EXPECT_EQ(sent(get("/a/b?c=d&e")), "GET /a/b?c=d&e HTTP/1.1\r\n" + host() + userAgent + "\r\n");
}

TEST_F(ARequest, HasItsFieldsInOrderAndTheLengthOfItsBody) {
    auto request = post("/Uploads.svc/GetTopFileUpload", "{\"ToComputerID\":\"5\"}");
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    request.setValueForHTTPHeaderField("y", "X-Second");
    EXPECT_EQ(sent(request), "POST /Uploads.svc/GetTopFileUpload HTTP/1.1\r\n" + host() + userAgent +
                                 "Content-Type: application/json\r\nX-Second: y\r\nContent-Length: 20\r\n\r\n"
                                 "{\"ToComputerID\":\"5\"}");
}

TEST_F(ARequest, HasTheSessionsFieldsBehindItsOwnWhereItDoesNotSetThem) {
    auto request = post("/", "{}");
    request.addValueForHTTPHeaderField("text/plain", "content-type");
    HeaderFields additional;
    additional.set("Accept", "application/json");
    additional.set("Content-Type", "application/json");
    EXPECT_EQ(sent(request, additional), "POST / HTTP/1.1\r\n" + host() + userAgent +
                                             "content-type: text/plain\r\nAccept: application/json\r\n"
                                             "Content-Length: 2\r\n\r\n{}");
}

TEST_F(ARequest, SendsTheLengthOnceAndTrulyWhateverTheCallerSays) {
    auto request = post("/", "12345");
    request.setValueForHTTPHeaderField("5", "Content-Length");
    const auto expected = "POST / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 5\r\n\r\n12345";
    EXPECT_EQ(sent(request), expected);
    request.setValueForHTTPHeaderField("77", "content-length");
    request.setValueForHTTPHeaderField("chunked", "Transfer-Encoding");
    EXPECT_EQ(sent(request), expected);
}

TEST_F(ARequest, HasTheCallersHostAndUserAgentInPlaceOfTheUsualOnes) {
    auto request = get("/");
    request.setValueForHTTPHeaderField("elsewhere", "Host");
    request.setValueForHTTPHeaderField("Agent/1", "User-Agent");
    EXPECT_EQ(sent(request), "GET / HTTP/1.1\r\nHost: elsewhere\r\nUser-Agent: Agent/1\r\n\r\n");
}

TEST_F(ARequest, HasTheCallersUserAgentWhereItStandsAmongTheOtherFields) {
    auto request = get("/");
    request.setValueForHTTPHeaderField("1", "X-First");
    request.setValueForHTTPHeaderField("Agent/1", "User-Agent");
    EXPECT_EQ(sent(request), "GET / HTTP/1.1\r\n" + host() + "X-First: 1\r\nUser-Agent: Agent/1\r\n\r\n");
    HeaderFields additional;
    additional.set("X-Second", "2");
    additional.set("User-Agent", "Agent/2");
    EXPECT_EQ(sent(get("/"), additional), "GET / HTTP/1.1\r\n" + host() + "X-Second: 2\r\nUser-Agent: Agent/2\r\n\r\n");
}

TEST_F(ARequest, CanHaveFieldsThatAreEmptyOrRepeatedOrNotAscii) {
    auto request = get("/");
    request.setValueForHTTPHeaderField("", "X-Empty");
    request.setValueForHTTPHeaderField("\\Docs\\\xC3\xA4 b.txt", "FilePath");
    request.addValueForHTTPHeaderField("1", "X-Twice");
    request.addValueForHTTPHeaderField("2", "X-Twice");
    EXPECT_EQ(sent(request), "GET / HTTP/1.1\r\n" + host() + userAgent +
                                 "X-Empty:\r\nFilePath: \\Docs\\\xC3\xA4 b.txt\r\nX-Twice: 1, 2\r\n\r\n");
}

TEST_F(ARequest, ThatPostsNothingSaysSo) {
    auto request = get("/");
    request.httpMethod = "POST";
    EXPECT_EQ(sent(request), "POST / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 0\r\n\r\n");
    request.httpBody = "";
    EXPECT_EQ(sent(request), "POST / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 0\r\n\r\n");
}

TEST_F(ARequest, CanHaveAnyMethodWithABodyOrWithout) {
    auto request = get("/");
    request.httpMethod = "PUT";
    EXPECT_EQ(sent(request), "PUT / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 0\r\n\r\n");
    request.httpMethod = "DELETE";
    EXPECT_EQ(sent(request), "DELETE / HTTP/1.1\r\n" + host() + userAgent + "\r\n");
    request.httpBody = "ab";
    EXPECT_EQ(sent(request), "DELETE / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 2\r\n\r\nab");
    request.httpMethod = "GET";
    EXPECT_EQ(sent(request), "GET / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 2\r\n\r\nab");
    request.httpMethod = "pOST";
    EXPECT_EQ(sent(request), "pOST / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 2\r\n\r\nab");
}

TEST_F(ARequest, ForAHeadAloneGetsNoBody) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n"));
    auto request = get("/");
    request.httpMethod = "HEAD";
    request.httpBody = "ignored";
    const LoadResult result = load(request);
    EXPECT_EQ(result.data, "");
    EXPECT_EQ(result.response->expectedContentLength, 1000U);
    EXPECT_EQ(server.requests().back().bytes, "HEAD / HTTP/1.1\r\n" + host() + userAgent + "\r\n");
}

TEST_F(ARequest, SendsALargeBodyWithoutAskingFirst) {
    Data body(4 << 20, '\0');
    for (std::size_t at = 0; at < body.size(); ++at)
        body[at] = static_cast<char>(at % 251);
    const auto bytes = sent(post("/", body));
    EXPECT_EQ(bytes.substr(0, bytes.find("\r\n\r\n") + 4),
              "POST / HTTP/1.1\r\n" + host() + userAgent + "Content-Length: 4194304\r\n\r\n");
    EXPECT_TRUE(bytes.ends_with(body));
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(ARequest, TakesThePathAsItIsAndLeavesTheFragmentOut) {
    EXPECT_EQ(sent(get("/a/../b//c/./%41#top")), "GET /a/../b//c/./%41 HTTP/1.1\r\n" + host() + userAgent + "\r\n");
    EXPECT_EQ(sent(get("")), "GET / HTTP/1.1\r\n" + host() + userAgent + "\r\n");
}

TEST_F(ARequest, DoesNotSendANameAndPasswordUnasked) {
    auto request = get("/");
    request.url = Url::fromString("http://user:secret@" + server.host() + "/");
    EXPECT_EQ(sent(request), "GET / HTTP/1.1\r\n" + host() + userAgent + "\r\n");
}

TEST_F(ARequest, GoesStraightToItsServerWhateverTheEnvironmentSays) {
    const TestSupport::ScopedEnvironment environment{
        {"http_proxy", "http://127.0.0.1:1/"}, {"all_proxy", "http://127.0.0.1:1/"}, {"no_proxy", std::nullopt}};
    EXPECT_EQ(sent(get("/")), "GET / HTTP/1.1\r\n" + host() + userAgent + "\r\n");
}

TEST_F(ARequest, WithoutAUsableAddressIsABadUrl) {
    EXPECT_EQ(refusal({}), -1000);
    for (const auto* address : {"/relative", "relative", "//127.0.0.1/", "http:", "http://", "http:///x", "http://:80/",
                                "http://host:99999/", "http://host:x/"}) {
        UrlRequest request;
        request.url = Url::fromString(address);
        ASSERT_TRUE(request.url) << address;
        EXPECT_EQ(refusal(request), -1000) << address;
    }
}

TEST_F(ARequest, WithAnotherSchemeIsUnsupported) {
    for (const auto* address : {"ftp://127.0.0.1/", "file:///etc/passwd", "ws://127.0.0.1/", "mailto:a"}) {
        UrlRequest request;
        request.url = Url::fromString(address);
        EXPECT_EQ(refusal(request), -1002) << address;
    }
}

TEST_F(ARequest, ThatHttpDoesNotAllowIsNotSent) {
    auto request = get("/");
    request.setValueForHTTPHeaderField("a\r\nInjected: 1", "X");
    EXPECT_EQ(refusal(request), -1000);
    request = get("/");
    request.httpMethod = "GET / HTTP/1.1\r\nX";
    EXPECT_EQ(refusal(request), -1000);
}

} // namespace
} // namespace Platform
