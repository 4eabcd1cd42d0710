// How many requests have a connection at once, and who waits for whom.

#include "Platform/UrlLoading/ConnectionSlots.h"

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;
using TestSupport::HttpReply;

TEST(ConnectionSlotsTest, PassASlotToTheHolderThatHasWaitedLongest) {
    struct Holder {};
    std::vector<Holder> holders(4);
    ConnectionSlots<Holder> slots(1);
    EXPECT_TRUE(slots.acquire(holders[0], "http://one"));
    EXPECT_FALSE(slots.acquire(holders[1], "http://one"));
    EXPECT_FALSE(slots.acquire(holders[2], "http://one"));
    EXPECT_TRUE(slots.acquire(holders[3], "http://two"));
    EXPECT_EQ(slots.release(holders[0]), &holders[1]);
    EXPECT_EQ(slots.release(holders[0]), nullptr);
    EXPECT_EQ(slots.release(holders[1]), &holders[2]);
    EXPECT_EQ(slots.taken(), 2U);
    EXPECT_EQ(slots.release(holders[2]), nullptr);
    EXPECT_EQ(slots.release(holders[3]), nullptr);
    EXPECT_EQ(slots.taken(), 0U);
}

TEST(ConnectionSlotsTest, ForgetAHolderThatStopsWaiting) {
    struct Holder {};
    std::vector<Holder> holders(3);
    ConnectionSlots<Holder> slots(1);
    EXPECT_TRUE(slots.acquire(holders[0], "http://one"));
    EXPECT_FALSE(slots.acquire(holders[1], "http://one"));
    EXPECT_FALSE(slots.acquire(holders[2], "http://one"));
    EXPECT_EQ(slots.release(holders[1]), nullptr);
    EXPECT_EQ(slots.release(holders[0]), &holders[2]);
    EXPECT_TRUE(slots.acquire(holders[1], "http://two"));
}

class Slots : public UrlLoadingTest {
protected:
    static std::shared_ptr<UrlSession> wideSession(const std::shared_ptr<UrlSessionDelegate>& delegate = nullptr) {
        UrlSessionConfiguration configuration;
        configuration.httpMaximumConnectionsPerHost = 40;
        return UrlSession::sessionWithConfiguration(configuration, delegate);
    }
    /// Takes every slot of the server with requests that get no response.
    void takeEverySlot() {
        server.setHandler([](const auto&) { return HttpReply::silence(); });
        const auto session = wideSession();
        for (auto& result : slow)
            start(*session, get("/slow"), result);
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == slow.size(); }));
    }

    std::vector<LoadResult> slow = std::vector<LoadResult>(32);
};

TEST_F(Slots, OfOneServerAreThirtyTwoAndTheOtherRequestsWaitTheirTurn) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    const auto session = wideSession();
    std::vector<LoadResult> results(35);
    std::vector<std::shared_ptr<UrlSessionTask>> tasks;
    for (auto& result : results)
        tasks.push_back(start(*session, get("/" + std::to_string(tasks.size())), result));
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 32; }));
    settle();
    EXPECT_EQ(server.openConnections(), 32U);
    // One that ends makes room for the one that has waited longest, on the same connection.
    server.send(4, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 33; }));
    EXPECT_EQ(server.requests().back().target, "/32");
    EXPECT_EQ(server.requests().back().connection, server.requests()[4].connection);
    settle();
    EXPECT_EQ(server.requests().size(), 33U);
    EXPECT_EQ(server.openConnections(), 32U);
    for (auto task = tasks.rbegin(); task != tasks.rend(); ++task)
        (*task)->cancel();
    for (auto& result : results)
        ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(results[4].code(), 0);
    EXPECT_EQ(results[33].code(), -999);
    EXPECT_EQ(server.requests().size(), 33U);
}

TEST_F(Slots, OfOneServerDoNotKeepRequestsToAnotherWaiting) {
    takeEverySlot();
    TestSupport::HttpServer healthy;
    healthy.setHandler([](const auto&) { return HttpReply::ok("x"); });
    auto request = get("/");
    request.url = Url::fromString(healthy.url("/"));
    EXPECT_EQ(load(request).data, "x");
}

TEST_F(Slots, ThatAreAwaitedCostNoTime) {
    takeEverySlot();
    LoadResult waiting;
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForResource = 60s;
    start(*UrlSession::sessionWithConfiguration(configuration), get("/waiting"), waiting);
    advance(59s);
    EXPECT_EQ(server.requests().size(), 32U);
    // The others end with -1001; the one that waited has a minute of its own from then on.
    advance(1s);
    EXPECT_EQ(slow[0].code(), -1001);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 33; }));
    EXPECT_FALSE(waiting.done);
    advance(59999ms);
    EXPECT_FALSE(waiting.done);
    advance(1ms);
    EXPECT_EQ(waiting.code(), -1001);
}

TEST_F(Slots, AreNotKeptByAChallengeThatNobodyAnswers) {
    // Bodies of more than is read while nobody takes them.
    const auto challenge =
        HttpReply::status(401, std::string(3 << 20, 'x'), {{"WWW-Authenticate", "Basic realm=\"x\""}});
    const auto chunked = HttpReply::raw("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                                        "Transfer-Encoding: chunked\r\n\r\n300000\r\n" +
                                        std::string(3 << 20, 'x') + "\r\n0\r\n\r\n");
    for (const auto& reply : {challenge, chunked}) {
        server.setHandler([&](const auto& request) { return request.target == "/" ? HttpReply::ok("x") : reply; });
        const auto delegate = std::make_shared<Recorder>();
        const auto session = wideSession(delegate);
        for (int count = 0; count < 32; ++count)
            session->dataTaskWithRequest(get("/locked"))->resume();
        ASSERT_TRUE(loop.runUntil([&] { return delegate->calls.size() == 32; }));
        EXPECT_EQ(load(get("/")).data, "x");
        advance(60s);
        EXPECT_EQ(delegate->calls.size(), 64U);
    }
}

TEST_F(Slots, OfASessionAreNotKeptByAChallengeThatNobodyAnswers) {
    server.setHandler([&](const auto& request) {
        return request.target == "/" ? HttpReply::ok("x")
                                     : HttpReply::status(401, "who?", {{"WWW-Authenticate", "Basic realm=\"x\""}});
    });
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 1;
    const auto delegate = std::make_shared<Recorder>();
    const auto session = UrlSession::sessionWithConfiguration(configuration, delegate);
    session->dataTaskWithRequest(get("/locked"))->resume();
    LoadResult second;
    LoadResult third;
    start(*session, get("/"), second);
    start(*session, get("/"), third);
    ASSERT_TRUE(loop.runUntil([&] { return second.done && third.done; }));
    EXPECT_EQ(second.data, "x");
    EXPECT_EQ(delegate->calls, (std::vector<std::string>{"challenge"}));
    delegate->challenge(ChallengeDisposition::PerformDefaultHandling);
    ASSERT_TRUE(loop.runUntil([&] { return delegate->done; }));
    EXPECT_EQ(delegate->calls.back(), "end 0");
}

} // namespace
} // namespace Platform
