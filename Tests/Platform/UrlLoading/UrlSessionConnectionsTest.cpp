// What many requests share: connections that stay open, redirects, and how little a long run of them leaves behind.

#include "UrlLoadingFixture.h"

#include <malloc.h>

#include <filesystem>

#ifdef HAS_ADDRESS_SANITIZER
// The package of GCC lacks the header that declares it (sanitizer/allocator_interface.h).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace Platform {
namespace {

using TestSupport::HttpReply;

class Connections : public UrlLoadingTest {};

TEST_F(Connections, ServeOneRequestAfterTheOtherOfAnySession) {
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    for (int count = 0; count < 5; ++count)
        EXPECT_EQ(load(post("/", "{}")).data, "x");
    EXPECT_EQ(server.acceptedConnections(), 1U);
    EXPECT_EQ(server.requests().back().connection, 0U);
}

TEST_F(Connections, AreLeftAfterAResponseThatWasNotReadWhole) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhel"));
    LoadResult result;
    const auto task = start(*makeSession(), get("/"), result);
    ASSERT_TRUE(loop.runUntil([&] { return task->response() != nullptr; }));
    task->cancel();
    ASSERT_TRUE(loop.runUntil([&] { return result.done && server.openConnections() == 0; }));
    server.enqueue(HttpReply::ok("next"));
    EXPECT_EQ(load(get("/")).data, "next");
    EXPECT_EQ(server.acceptedConnections(), 2U);
}

TEST_F(Connections, ThatTheServerClosedMeanwhileAreNoErrorToTheNextRequest) {
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    EXPECT_EQ(load(post("/", "1")).data, "x");
    server.closeAll();
    EXPECT_EQ(load(post("/", "2")).data, "x");
    server.enqueue(HttpReply::ok("bye").thenClose());
    EXPECT_EQ(load(post("/", "3")).data, "bye");
    settle();
    EXPECT_EQ(load(post("/", "4")).data, "x");
}

TEST_F(Connections, ThatTheServerClosesUnderARequestThatChangesNothingAreReplacedAndItIsSentAgain) {
    for (const bool byReset : {false, true}) {
        server.enqueue(HttpReply::ok("first"));
        const auto nothing = HttpReply::silence();
        server.enqueue(byReset ? nothing.thenReset() : nothing.thenClose());
        server.enqueue(HttpReply::ok("again"));
        EXPECT_EQ(load(get("/")).data, "first");
        const LoadResult result = load(get("/again"));
        EXPECT_EQ(result.code(), 0) << byReset;
        EXPECT_EQ(result.data, "again") << byReset;
        const auto& requests = server.requests();
        ASSERT_GE(requests.size(), 3U);
        EXPECT_EQ(requests[requests.size() - 2].bytes, requests.back().bytes);
        EXPECT_NE(requests[requests.size() - 2].connection, requests.back().connection);
    }
}

TEST_F(Connections, ThatAreNewAreNotTriedTwice) {
    server.setHandler([](const auto&) { return HttpReply::silence().thenClose(); });
    EXPECT_EQ(load(post("/", "{}")).code(), -1005);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(Connections, ThatNobodyUsesAreEightAtMost) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 20;
    const auto session = UrlSession::sessionWithConfiguration(configuration);
    std::vector<LoadResult> results(20);
    for (auto& result : results)
        start(*session, get("/"), result);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 20; }));
    for (std::size_t connection = 0; connection < 20; ++connection)
        server.send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    for (auto& result : results)
        ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    ASSERT_TRUE(loop.runUntil([&] { return server.openConnections() <= 8; }));
    settle();
    EXPECT_EQ(server.openConnections(), 8U);
}

class ARedirect : public UrlLoadingTest {
protected:
    static HttpReply to(const std::string& place, int status = 302, std::string_view body = "moved") {
        return HttpReply::status(status, body, {{"Location", place}, {"X-Redirect", "1"}});
    }
    const TestSupport::HttpRequest& last() const { return server.requests().back(); }
};

TEST_F(ARedirect, IsFollowedToTheResponse) {
    server.enqueue("/a", to("/b/c?d"));
    server.enqueue("/b/c?d", to("e"));
    server.enqueue("/b/e", to(server.url("/f%20g")));
    server.enqueue("/f%20g", HttpReply::ok("there"));
    const LoadResult result = load(get("/a"));
    EXPECT_EQ(result.data, "there");
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_EQ(result.response->url, url("/f%20g"));
    EXPECT_EQ(result.response->allHeaderFields.value("X-Redirect"), std::nullopt);
    EXPECT_EQ(server.acceptedConnections(), 1U);
}

TEST_F(ARedirect, OfAPostBecomesAGetWhereBrowsersMakeItOne) {
    for (const int status : {301, 302, 303}) {
        server.enqueue("/a", to("/b", status));
        server.enqueue("/b", HttpReply::ok("x"));
        auto request = post("/a", "{}");
        request.setValueForHTTPHeaderField("application/json", "Content-Type");
        request.setValueForHTTPHeaderField("kept", "X-Kept");
        EXPECT_EQ(load(request).data, "x");
        EXPECT_EQ(last().method, "GET") << status;
        EXPECT_EQ(last().body, "");
        EXPECT_EQ(last().header("Content-Type"), std::nullopt);
        EXPECT_EQ(last().header("Content-Length"), std::nullopt);
        EXPECT_EQ(last().header("X-Kept"), "kept");
    }
}

TEST_F(ARedirect, KeepsMethodAndBodyWhereItsStatusSaysSo) {
    for (const int status : {307, 308}) {
        server.enqueue("/a", to("/b", status));
        server.enqueue("/b", HttpReply::ok("x"));
        EXPECT_EQ(load(post("/a", "{\"a\":1}")).data, "x");
        EXPECT_EQ(last().method, "POST");
        EXPECT_EQ(last().body, "{\"a\":1}");
    }
    server.enqueue("/a", to("/b", 301));
    server.enqueue("/b", HttpReply::ok("x"));
    auto request = post("/a", "body");
    request.httpMethod = "PUT";
    EXPECT_EQ(load(request).data, "x");
    EXPECT_EQ(last().method, "PUT");
    EXPECT_EQ(last().body, "body");
    server.enqueue("/a", to("/b", 303));
    server.enqueue("/b", HttpReply::ok("x"));
    EXPECT_EQ(load(request).data, "x");
    EXPECT_EQ(last().method, "GET");
}

TEST_F(ARedirect, IsFollowedSixteenTimes) {
    server.setHandler([](const TestSupport::HttpRequest& request) {
        const int step = std::stoi(request.target.substr(1));
        return step == 16 ? HttpReply::ok("there") : to("/" + std::to_string(step + 1));
    });
    EXPECT_EQ(load(get("/0")).data, "there");
    const LoadResult tooMany = load(get("/-1"));
    EXPECT_EQ(tooMany.code(), -1007);
    EXPECT_FALSE(tooMany.response);
}

TEST_F(ARedirect, LeadsToHttpAddressesOnly) {
    for (const auto* place : {"file:///etc/passwd", "ftp://127.0.0.1/x", "mailto:x", "javascript:x"}) {
        server.enqueue("/a", to(place));
        EXPECT_EQ(load(get("/a")).code(), -1002) << place;
    }
    for (const auto* place : {"http://", "http://[x/"}) {
        server.enqueue("/a", to(place));
        EXPECT_EQ(load(get("/a")).code(), -1000) << place;
    }
    EXPECT_EQ(server.acceptedConnections(), 1U);
}

TEST_F(ARedirect, ToAnotherServerLeavesWhatIsMeantForTheFirst) {
    TestSupport::HttpServer other;
    other.setHandler([](const auto&) { return HttpReply::ok("x"); });
    auto request = get("/a");
    request.setValueForHTTPHeaderField("Basic eDp5", "Authorization");
    request.setValueForHTTPHeaderField("a=b", "Cookie");
    request.setValueForHTTPHeaderField("name", "Host");
    request.setValueForHTTPHeaderField("kept", "X-Kept");
    server.enqueue("/a", to("/b"));
    server.enqueue("/b", to(other.url("/c")));
    EXPECT_EQ(load(request).data, "x");
    EXPECT_EQ(last().header("Authorization"), "Basic eDp5");
    EXPECT_EQ(last().header("Host"), "name");
    const auto& there = other.requests().back();
    EXPECT_EQ(there.header("Authorization"), std::nullopt);
    EXPECT_EQ(there.header("Cookie"), std::nullopt);
    EXPECT_EQ(there.header("Host"), other.host());
    EXPECT_EQ(there.header("X-Kept"), "kept");
}

TEST_F(ARedirect, ThatNamesNoPlaceIsAResponse) {
    server.enqueue(HttpReply::status(302, "where?"));
    const LoadResult result = load(get("/"));
    EXPECT_EQ(result.data, "where?");
    EXPECT_EQ(result.response->statusCode, 302);
}

TEST_F(ARedirect, IsFollowedBeforeItsBodyHasCome) {
    server.enqueue("/a", HttpReply::raw("HTTP/1.1 302 Found\r\nLocation: /b\r\nContent-Length: 9999999\r\n\r\nsome"));
    server.enqueue("/b", HttpReply::ok("there"));
    EXPECT_EQ(load(get("/a")).data, "there");
    EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 1; }));
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

std::size_t allocatedBytes() {
#ifdef HAS_ADDRESS_SANITIZER
    return __sanitizer_get_current_allocated_bytes();
#else
    return ::mallinfo2().uordblks;
#endif
}

/// A delegate that makes its own session for each request, as a connector does.
class Poller : public UrlSessionDelegate {};

TEST_F(Connections, AndMemoryStayAsFewAfterTenThousandRequests) {
    server.setHandler([](const auto&) { return HttpReply::json("{\"ReturnStatus\":\"1\"}"); });
    std::size_t finished = 0;
    const auto poll = [&](std::size_t count) {
        for (std::size_t round = 0; round < count; ++round) {
            const auto session = makeSession(std::make_shared<Poller>());
            session
                ->dataTaskWithRequest(post("/poll", "{}"),
                                      [&](const auto& data, const auto&, const auto&) {
                                          EXPECT_TRUE(data.has_value());
                                          ++finished;
                                      })
                ->resume();
            const std::size_t expected = finished + 1;
            ASSERT_TRUE(loop.runUntil([&] { return finished == expected; }));
        }
        settle();
        server.forgetRequests();
    };
    poll(200);
    const std::size_t descriptors = openDescriptors();
    const std::size_t bytes = allocatedBytes();
    poll(10000);
    EXPECT_EQ(finished, 10200U);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(allocatedBytes(), bytes + (16 << 10));
    EXPECT_EQ(server.acceptedConnections(), 1U);
}

} // namespace
} // namespace Platform
