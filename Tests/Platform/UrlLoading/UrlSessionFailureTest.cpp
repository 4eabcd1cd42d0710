// How loading fails: each failure has its code, and timeouts go by the loop's clock.

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;
using TestSupport::HttpReply;

class AFailure : public UrlLoadingTest {
protected:
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<UrlSessionTask> task;

    /// Starts a task whose response goes to the recorder, and waits until the server has its request.
    void startStreaming(const UrlSessionConfiguration& configuration = {},
                        std::chrono::duration<double> timeout = 60s) {
        auto request = get("/");
        request.timeoutInterval = timeout;
        task = UrlSession::sessionWithConfiguration(configuration, recorder)->dataTaskWithRequest(request);
        task->resume();
        const std::size_t before = server.requests().size();
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() > before; }));
    }
    void runToEnd() {
        ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    }
    int codeFor(const std::string& address) {
        UrlRequest request;
        request.url = Url::fromString(address);
        const LoadResult result = load(request);
        EXPECT_EQ(result.data, std::nullopt);
        EXPECT_FALSE(result.response);
        return result.code();
    }
};

const std::string smallResponse = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nReturnStatus: 0\r\n\r\nhello";
const std::size_t smallHeaders = smallResponse.size() - 5;
const std::string chunkedResponse = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
const std::string longHeaders = "HTTP/1.1 200 OK\r\nContent-Length: 2000000\r\n\r\n";

TEST_F(AFailure, AtEveryByteOfAResponseThatIsCutIsALostConnection) {
    for (std::size_t cut = 0; cut < smallResponse.size(); ++cut) {
        server.enqueue(HttpReply::raw(smallResponse).cutAfter(cut).thenClose());
        const LoadResult result = load(get("/"));
        EXPECT_EQ(result.code(), -1005) << cut;
        EXPECT_EQ(result.data, std::nullopt) << cut;
        EXPECT_EQ(result.response.has_value(), cut >= smallHeaders) << cut;
    }
}

TEST_F(AFailure, AtEveryByteOfAResponseThatIsResetIsALostConnection) {
    for (std::size_t cut = 0; cut < smallResponse.size(); ++cut) {
        server.enqueue(HttpReply::raw(smallResponse).cutAfter(cut).thenReset());
        const LoadResult result = load(get("/"));
        EXPECT_EQ(result.code(), -1005) << cut;
        EXPECT_EQ(result.data, std::nullopt) << cut;
    }
}

TEST_F(AFailure, AtEveryByteOfAChunkedResponseThatIsCutIsALostConnection) {
    // The last line break is not waited for.
    for (std::size_t cut = 0; cut < chunkedResponse.size() - 2; ++cut) {
        server.enqueue(HttpReply::raw(chunkedResponse).cutAfter(cut).thenClose());
        EXPECT_EQ(load(get("/")).code(), -1005) << cut;
    }
}

TEST_F(AFailure, OfChunksThatAreNoneIsALostConnection) {
    for (const auto* body :
         {"x\r\nhello\r\n", "5\r\nhelloXX0\r\n\r\n", "FFFFFFFFFFFFFFFFFF\r\n", "-1\r\n", "\r\n\r\n"}) {
        const LoadResult result = loadRaw(std::string("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n") + body);
        EXPECT_EQ(result.code(), -1005) << body;
        EXPECT_TRUE(result.response) << body;
    }
}

TEST_F(AFailure, LeavesWhatCameBeforeItToTheDelegate) {
    server.enqueue(HttpReply::raw(smallResponse).cutAfter(smallHeaders + 3).thenClose());
    startStreaming();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 3", "end -1005"}));
    EXPECT_EQ(recorder->data, "hel");
    ASSERT_NE(task->response(), nullptr);
    EXPECT_EQ(task->response()->statusCode, 200);
}

TEST_F(AFailure, BeforeTheHeadLeavesNoResponse) {
    server.enqueue(HttpReply::raw(smallResponse).cutAfter(smallHeaders - 1).thenClose());
    startStreaming();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -1005"}));
    EXPECT_EQ(task->response(), nullptr);
}

TEST_F(AFailure, InALongBodyIsALostConnectionHoweverItEnds) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{300000}, std::size_t{1999999}}) {
        const auto reply = HttpReply::raw(longHeaders + std::string(length, 'x'));
        for (const auto& end : {reply.thenClose(), reply.thenReset()}) {
            recorder = std::make_shared<Recorder>();
            server.enqueue(end);
            startStreaming();
            runToEnd();
            EXPECT_EQ(recorder->error ? recorder->error->code : 0, -1005) << length;
            EXPECT_LE(recorder->data.size(), length);
            EXPECT_NE(task->response(), nullptr);
        }
    }
}

TEST_F(AFailure, ToConnectHasACodeOfItsOwn) {
    server.stopListening();
    const LoadResult result = load(get("/"));
    EXPECT_EQ(result.code(), -1004);
    EXPECT_EQ(result.error->domain, "UrlLoading");
    EXPECT_TRUE(result.error->localizedDescription.starts_with("Could not connect to the host: "));
}

TEST_F(AFailure, ToFindTheHostHasACodeOfItsOwn) {
    // A label of more than 63 letters is in no name service (RFC 1035, section 2.3.4).
    EXPECT_EQ(codeFor("http://" + std::string(64, 'a') + ".example/"), -1003);
}

TEST_F(AFailure, ToRespondInHttpHasACodeOfItsOwn) {
    for (const auto* bytes :
         {"SSH-2.0-OpenSSH_9.2\r\n", "hello", "\r\n\r\n", "HTTP/2 200 OK\r\n\r\n", "HTTP/1.1 abc\r\n\r\n",
          "HTTP/1.1 20\r\n\r\n", "HTTP/1.1 099 x\r\n\r\n", "HTTX/1.1 200 OK\r\n\r\n",
          "HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n",
          "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab",
          "HTTP/1.1 200 OK\r\nA: 1\n\rB: 2\r\n\r\nxy", "HTTP/1.1 200 OK\r\nContent-Length: 2\n\rB: 2\r\n\r\nxy",
          "HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\nab", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nab"}) {
        const LoadResult result = loadRaw(bytes);
        EXPECT_EQ(result.code(), -1011) << bytes;
        EXPECT_FALSE(result.response) << bytes;
    }
    EXPECT_EQ(loadRaw(std::string(5000, '\0')).code(), -1011);
}

TEST_F(AFailure, OfAHeadThatIsTooLongHasTheSameCode) {
    std::string many = "HTTP/1.1 200 OK\r\n";
    for (int line = 0; line < 2000; ++line)
        many += "A: 1\r\n";
    EXPECT_EQ(loadRaw(many + "\r\n").code(), -1011);
    std::string large = "HTTP/1.1 200 OK\r\n";
    for (int line = 0; line < 20; ++line)
        large += "A: " + std::string(20000, 'x') + "\r\n";
    EXPECT_EQ(loadRaw(large + "\r\n").code(), -1011);
    EXPECT_EQ(loadRaw("HTTP/1.1 200 OK\r\nA: " + std::string(200000, 'x') + "\r\n\r\n").code(), -1011);
    EXPECT_EQ(loadRaw("HTTP/1.1 200 OK\r\nA: " + std::string(600000, 'x')).code(), -1011);
}

TEST_F(AFailure, AfterOneMinuteOfSilenceIsATimeout) {
    server.enqueue(HttpReply::silence());
    startStreaming();
    advance(59999ms);
    EXPECT_FALSE(recorder->done);
    advance(1ms);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -1001"}));
    EXPECT_EQ(task->response(), nullptr);
    EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(AFailure, AfterSilenceInTheBodyIsATimeOutWithAResponse) {
    server.enqueue(HttpReply::raw(smallResponse).cutAfter(smallHeaders + 2));
    startStreaming();
    ASSERT_TRUE(loop.runUntil([&] { return !recorder->pieces.empty(); }));
    advance(60s);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 2", "end -1001"}));
    EXPECT_NE(task->response(), nullptr);
}

TEST_F(AFailure, AfterSilenceInALongBodyIsATimeOutToo) {
    server.enqueue(HttpReply::raw(longHeaders + std::string(500000, 'x')));
    startStreaming();
    ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == 500000; }));
    advance(59s);
    server.send(0, "x");
    ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == 500001; }));
    advance(59s);
    EXPECT_FALSE(recorder->done);
    advance(1s);
    EXPECT_EQ(recorder->calls.back(), "end -1001");
}

TEST_F(AFailure, IsPutOffByProgress) {
    server.enqueue(HttpReply::raw(smallResponse).cutAfter(10));
    startStreaming();
    for (std::size_t at = 10; at < smallResponse.size() - 1; ++at) {
        advance(50s);
        ASSERT_FALSE(recorder->done) << at;
        server.send(0, smallResponse.substr(at, 1));
        settle();
    }
    advance(60s);
    EXPECT_EQ(recorder->calls.back(), "end -1001");
}

TEST_F(AFailure, ComesAfterTheShorterOfTheTwoIdleLimits) {
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForRequest = 10s;
    server.enqueue(HttpReply::silence());
    startStreaming(configuration, 60s);
    advance(9999ms);
    EXPECT_FALSE(recorder->done);
    advance(1ms);
    EXPECT_EQ(recorder->calls.back(), "end -1001");

    recorder = std::make_shared<Recorder>();
    server.enqueue(HttpReply::silence());
    startStreaming({}, 0.25s);
    advance(249ms);
    EXPECT_FALSE(recorder->done);
    advance(1ms);
    EXPECT_EQ(recorder->calls.back(), "end -1001");
}

TEST_F(AFailure, ComesAtTheResourceLimitInSpiteOfProgress) {
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForResource = 60s;
    server.enqueue(HttpReply::raw(longHeaders));
    startStreaming(configuration);
    for (int count = 1; count < 6; ++count) {
        advance(10s);
        server.send(0, "x");
        ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == static_cast<std::size_t>(count); }));
    }
    advance(9999ms);
    EXPECT_FALSE(recorder->done);
    advance(1ms);
    EXPECT_EQ(recorder->calls.back(), "end -1001");
}

TEST_F(AFailure, DoesNotComeWhereTheLimitsAreBeyondAnyTime) {
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForRequest = std::chrono::duration<double>::max();
    configuration.timeoutIntervalForResource = std::chrono::duration<double>::max();
    server.enqueue(HttpReply::silence());
    startStreaming(configuration, std::chrono::duration<double>::max());
    advance(24h * 365 * 10);
    EXPECT_FALSE(recorder->done);
    server.send(0, smallResponse);
    runToEnd();
    EXPECT_EQ(recorder->error, std::nullopt);
}

class AChallenge : public AFailure {
protected:
    void SetUp() override {
        server.enqueue(HttpReply::status(401, "who?", {{"WWW-Authenticate", "Basic realm=\"x\""}}));
        startStreaming();
        ASSERT_TRUE(loop.runUntil([&] { return !recorder->calls.empty(); }));
        ASSERT_EQ(recorder->calls, (std::vector<std::string>{"challenge"}));
    }
};

TEST_F(AChallenge, ThatIsNotAnsweredKeepsTheTaskUntilItsTimeout) {
    advance(59999ms);
    EXPECT_EQ(recorder->calls.size(), 1U);
    EXPECT_EQ(task->state(), UrlSessionTask::State::Running);
    EXPECT_EQ(task->response(), nullptr);
    advance(1ms);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"challenge", "end -1001"}));
    EXPECT_EQ(task->response(), nullptr);
    recorder->challenge(ChallengeDisposition::PerformDefaultHandling);
    settle();
    EXPECT_EQ(recorder->calls.size(), 2U);
}

TEST_F(AChallenge, DeliversTheResponseWhereTheDefaultIsAskedFor) {
    advance(30s);
    recorder->challenge(ChallengeDisposition::PerformDefaultHandling);
    recorder->challenge(ChallengeDisposition::CancelChallenge);
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"challenge", "data 4", "end 0"}));
    ASSERT_NE(task->response(), nullptr);
    EXPECT_EQ(task->response()->statusCode, 401);
}

TEST_F(AChallenge, EndsTheTaskWhereItIsCancelled) {
    recorder->challenge(ChallengeDisposition::CancelChallenge);
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"challenge", "end -999"}));
    EXPECT_EQ(task->response(), nullptr);
}

TEST_F(AChallenge, CanBeCancelledWithItsTask) {
    task->cancel();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"challenge", "end -999"}));
}

TEST_F(AFailure, OfAnUnansweredChallengeReachesACompletionHandler) {
    server.enqueue(HttpReply::status(401, "who?", {{"WWW-Authenticate", "Digest realm=\"x\", nonce=\"y\""}}));
    LoadResult result;
    start(*makeSession(recorder), post("/", "{}"), result);
    ASSERT_TRUE(loop.runUntil([&] { return !recorder->calls.empty(); }));
    advance(60s);
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.code(), -1001);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"challenge"}));
}

TEST_F(AFailure, DoesNotComeOfAChallengeThatNobodyIsAskedAbout) {
    const auto challenge = HttpReply::status(401, "who?", {{"WWW-Authenticate", "Basic realm=\"x\""}});
    server.enqueue(challenge);
    EXPECT_EQ(load(get("/")).data, "who?");

    server.enqueue(challenge);
    LoadResult byDefault;
    start(*makeSession(std::make_shared<UrlSessionDelegate>()), get("/"), byDefault);
    ASSERT_TRUE(loop.runUntil([&] { return byDefault.done; }));
    EXPECT_EQ(byDefault.data, "who?");

    server.enqueue(HttpReply::status(401, "who?", {{"WWW-Authenticate", "Bearer"}}));
    startStreaming();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 4", "end 0"}));
}

} // namespace
} // namespace Platform
