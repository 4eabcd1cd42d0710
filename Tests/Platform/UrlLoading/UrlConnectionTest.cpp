// The older, connection-based interface.

#include "Platform/UrlLoading/UrlConnection.h"

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;
using TestSupport::HttpReply;

class ConnectionRecorder : public UrlConnectionDelegate {
public:
    std::vector<std::string> calls;
    Data data;
    bool done = false;
    std::vector<Queue> queues;
    std::function<void(UrlConnection&)> during;

    void connectionDidReceiveResponse(UrlConnection& connection, const HttpUrlResponse& response) override {
        note(connection, "response " + std::to_string(response.statusCode));
    }
    void connectionDidReceiveData(UrlConnection& connection, std::string_view bytes) override {
        data += bytes;
        note(connection, "data " + std::to_string(bytes.size()));
    }
    void connectionDidFinishLoading(UrlConnection& connection) override {
        done = true;
        note(connection, "finish");
    }
    void connectionDidFailWithError(UrlConnection& connection, const Error& error) override {
        done = true;
        note(connection, "fail " + std::to_string(error.code));
    }

private:
    void note(UrlConnection& connection, std::string call) {
        calls.push_back(std::move(call));
        queues.push_back(Queue::current());
        if (during)
            during(connection);
    }
};

/// As programs derive from it.
class TaggedConnection : public UrlConnection {
public:
    using UrlConnection::UrlConnection;
    std::string tag;
};

class AConnection : public UrlLoadingTest {
protected:
    std::shared_ptr<ConnectionRecorder> recorder = std::make_shared<ConnectionRecorder>();

    std::shared_ptr<UrlConnection> startConnection(UrlRequest request) {
        auto connection = std::make_shared<UrlConnection>(std::move(request), recorder);
        connection->start();
        return connection;
    }
    void runToEnd() {
        ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
        settle();
    }
    LoadResult sendWhole(UrlRequest request, const Queue& queue = Queue::main()) {
        LoadResult result;
        std::optional<Queue> handlerQueue;
        UrlConnection::sendAsynchronousRequest(std::move(request), queue, [&](auto response, auto data, auto error) {
            EXPECT_FALSE(result.done);
            result = {true, std::move(data), std::move(response), std::move(error)};
            handlerQueue = Queue::current();
        });
        EXPECT_FALSE(result.done);
        EXPECT_TRUE(loop.runUntil([&] { return result.done; }));
        EXPECT_EQ(handlerQueue, queue);
        return result;
    }
};

TEST_F(AConnection, ReportsTheHeadThenTheBytesThenTheEnd) {
    server.enqueue(HttpReply::status(500, "hello"));
    const auto connection = std::make_shared<UrlConnection>(post("/", "{}"), recorder);
    settle();
    EXPECT_EQ(server.acceptedConnections(), 0U);
    connection->start();
    connection->start();
    EXPECT_TRUE(recorder->calls.empty());
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"response 500", "data 5", "finish"}));
    EXPECT_EQ(recorder->data, "hello");
    EXPECT_EQ(recorder->queues, (std::vector<Queue>(3, Queue::main())));
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(connection->originalRequest().url, url("/"));
}

TEST_F(AConnection, SaysHowFarItsRequestHasCome) {
    server.enqueue(HttpReply::silence());
    const auto connection = std::make_shared<UrlConnection>(get("/"), recorder);
    EXPECT_EQ(connection->stage(), LoadStage::Waiting);
    connection->start();
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_EQ(connection->stage(), LoadStage::Connected);
    connection->cancel();
    EXPECT_EQ(connection->stage(), LoadStage::Waiting);
}

TEST_F(AConnection, ReportsOnTheQueueThatItIsGiven) {
    server.enqueue(HttpReply::ok("hello"));
    const Queue queue = Queue::serial("operations");
    const auto connection = std::make_shared<UrlConnection>(get("/"), recorder);
    connection->setDelegateQueue(queue);
    connection->start();
    runToEnd();
    EXPECT_EQ(recorder->queues, (std::vector<Queue>(3, queue)));
}

TEST_F(AConnection, ReportsTheHeadersOfAResponseWithoutABody) {
    server.enqueue(HttpReply::ok({}, {{"ReturnStatus", "2"}}));
    startConnection(get("/"));
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"response 200", "finish"}));
}

TEST_F(AConnection, ReportsTheHeadersBehindRedirectsAndOfUnansweredChallenges) {
    server.enqueue("/a", HttpReply::status(302, "", {{"Location", "/b"}}));
    server.enqueue("/b", HttpReply::status(401, "who?", {{"WWW-Authenticate", "Basic"}}));
    startConnection(get("/a"));
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"response 401", "data 4", "finish"}));
}

TEST_F(AConnection, ReportsAFailureBehindWhatCameBefore) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc").thenClose());
    startConnection(get("/"));
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"response 200", "data 3", "fail -1005"}));
}

TEST_F(AConnection, FailsWithoutAUrl) {
    startConnection({});
    EXPECT_TRUE(recorder->calls.empty());
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"fail -1000"}));
}

TEST_F(AConnection, TimesOutAfterItsRequestsInterval) {
    server.enqueue(HttpReply::silence());
    auto request = get("/");
    request.timeoutInterval = 5s;
    startConnection(request);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    advance(4999ms);
    EXPECT_TRUE(recorder->calls.empty());
    advance(1ms);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"fail -1001"}));
}

TEST_F(AConnection, IsSilentOnceItIsCancelled) {
    server.enqueue(HttpReply::ok("hello"));
    const auto connection = startConnection(get("/"));
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    connection->cancel();
    connection->cancel();
    settle();
    EXPECT_TRUE(recorder->calls.empty());
    EXPECT_EQ(recorder.use_count(), 1);
    connection->start();
    settle();
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(AConnection, CanBeCancelledWithinEachOfItsCalls) {
    const std::vector<std::string> all{"response 200", "data 5", "finish"};
    for (std::size_t last = 1; last <= all.size(); ++last) {
        recorder = std::make_shared<ConnectionRecorder>();
        recorder->during = [&, last](UrlConnection& connection) {
            if (recorder->calls.size() == last)
                connection.cancel();
        };
        server.enqueue(HttpReply::ok("hello"));
        const std::weak_ptr<UrlConnection> watch = startConnection(get("/"));
        ASSERT_TRUE(loop.runUntil([&] { return watch.expired(); }));
        settle();
        EXPECT_EQ(recorder->calls,
                  std::vector<std::string>(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(last)));
    }
}

TEST_F(AConnection, CanBeCancelledBeforeItStarts) {
    const auto connection = std::make_shared<UrlConnection>(get("/"), recorder);
    connection->cancel();
    connection->start();
    settle();
    EXPECT_TRUE(recorder->calls.empty());
    EXPECT_EQ(server.acceptedConnections(), 0U);
}

TEST_F(AConnection, IsKeptAliveWithItsDelegateWhileItLoads) {
    server.enqueue(HttpReply::ok("hello"));
    auto connection = std::make_shared<TaggedConnection>(get("/"), recorder);
    connection->tag = "item";
    const std::weak_ptr<UrlConnection> watch = connection;
    std::string tag;
    recorder->during = [&](UrlConnection& loading) { tag = dynamic_cast<TaggedConnection&>(loading).tag; };
    connection->start();
    connection.reset();
    EXPECT_FALSE(watch.expired());
    EXPECT_GT(recorder.use_count(), 1);
    runToEnd();
    EXPECT_EQ(tag, "item");
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(recorder.use_count(), 1);
}

TEST_F(AConnection, WithoutADelegateLoadsAllTheSame) {
    server.enqueue(HttpReply::ok("hello"));
    const auto connection = std::make_shared<UrlConnection>(get("/"), nullptr);
    const std::weak_ptr<UrlConnection> watch = connection;
    connection->start();
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
}

TEST_F(AConnection, CanSendARequestWhole) {
    server.enqueue(HttpReply::json("{\"a\":1}"));
    const LoadResult result = sendWhole(post("/", "{}"), Queue::serial("operations"));
    EXPECT_EQ(result.data, "{\"a\":1}");
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_EQ(result.error, std::nullopt);
}

TEST_F(AConnection, ThatSendsARequestWholeFailsWithAnError) {
    EXPECT_EQ(sendWhole({}).code(), -1000);
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc").thenClose());
    const LoadResult cut = sendWhole(get("/"));
    EXPECT_EQ(cut.code(), -1005);
    EXPECT_EQ(cut.data, std::nullopt);
    EXPECT_TRUE(cut.response);
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 268435457\r\n\r\n"));
    EXPECT_EQ(sendWhole(get("/")).code(), -1103);
}

} // namespace
} // namespace Platform
