// Tasks: their states, and the order and the queue of what they report.

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;
using State = UrlSessionTask::State;
using TestSupport::HttpReply;

class ATask : public UrlLoadingTest {
protected:
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();

    std::shared_ptr<UrlSessionTask> makeTask(std::string_view target = "/") {
        return makeSession(recorder)->dataTaskWithRequest(get(target));
    }
    void runToEnd() {
        ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    }
    void runToRequests(std::size_t count) {
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() >= count; }));
    }
};

TEST_F(ATask, GoesFromSuspendedToRunningToCompleted) {
    server.enqueue(HttpReply::ok("x"));
    const auto task = makeTask("/a");
    EXPECT_EQ(task->state(), State::Suspended);
    EXPECT_EQ(task->originalRequest().url, url("/a"));
    EXPECT_EQ(task->response(), nullptr);
    settle();
    EXPECT_EQ(server.acceptedConnections(), 0U);
    task->resume();
    EXPECT_EQ(task->state(), State::Running);
    State atEnd{};
    recorder->duringEnd = [&](UrlSessionTask& ended) { atEnd = ended.state(); };
    runToEnd();
    EXPECT_EQ(atEnd, State::Completed);
    EXPECT_EQ(task->state(), State::Completed);
    task->resume();
    task->suspend();
    task->cancel();
    settle();
    EXPECT_EQ(task->state(), State::Completed);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 1", "end 0"}));
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(ATask, KeepsItsDescription) {
    const auto task = makeTask();
    EXPECT_EQ(task->taskDescription(), "");
    task->setTaskDescription("a.txt");
    EXPECT_EQ(task->taskDescription(), "a.txt");
}

TEST_F(ATask, ReportsOnTheQueueOfItsSessionAndNeverAtOnce) {
    const Queue queue = Queue::serial("delegates");
    const auto session = UrlSession::sessionWithConfiguration({}, recorder, queue);
    EXPECT_EQ(session->delegateQueue(), queue);
    server.enqueue(HttpReply::ok("x"));
    session->dataTaskWithRequest(get("/"))->resume();
    runToEnd();
    EXPECT_EQ(recorder->queues, (std::vector<Queue>{queue, queue}));

    std::optional<Queue> handlerQueue;
    session->dataTaskWithRequest({}, [&](const auto&, const auto&, const auto&) { handlerQueue = Queue::current(); })
        ->resume();
    EXPECT_EQ(handlerQueue, std::nullopt);
    ASSERT_TRUE(loop.runUntil([&] { return handlerQueue.has_value(); }));
    EXPECT_EQ(handlerQueue, queue);
}

TEST_F(ATask, HasASerialQueueOfItsSessionsOwnWhereNoneIsGiven) {
    const auto one = makeSession();
    const auto other = makeSession();
    EXPECT_FALSE(one->delegateQueue() == other->delegateQueue());
    EXPECT_FALSE(one->delegateQueue() == Queue::main());
}

TEST_F(ATask, CanBeCancelledBeforeItStarts) {
    const auto task = makeTask();
    task->cancel();
    EXPECT_EQ(task->state(), State::Canceling);
    EXPECT_TRUE(recorder->calls.empty());
    task->resume();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -999"}));
    EXPECT_EQ(task->state(), State::Completed);
    settle();
    EXPECT_EQ(server.acceptedConnections(), 0U);
}

TEST_F(ATask, CanBeCancelledWhileItWaitsForItsResponse) {
    server.enqueue(HttpReply::silence());
    const auto task = makeTask();
    task->resume();
    runToRequests(1);
    task->cancel();
    task->cancel();
    EXPECT_EQ(task->state(), State::Canceling);
    runToEnd();
    ASSERT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -999"}));
    EXPECT_EQ(recorder->error->localizedDescription, "The request was cancelled");
}

TEST_F(ATask, CanBeCancelledWithinItsOwnCalls) {
    for (const auto* framing : {"Content-Length: 3000000", "Connection: close"}) {
        recorder = std::make_shared<Recorder>();
        server.enqueue(
            HttpReply::raw("HTTP/1.1 200 OK\r\n" + std::string(framing) + "\r\n\r\n" + std::string(2500000, 'x')));
        const auto task = makeTask();
        recorder->duringData = [](UrlSessionTask& running) { running.cancel(); };
        recorder->duringEnd = [](UrlSessionTask& ended) {
            ended.suspend();
            ended.cancel();
        };
        task->resume();
        runToEnd();
        ASSERT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
        EXPECT_EQ(recorder->pieces.size(), 1U);
        EXPECT_EQ(recorder->calls.back(), "end -999");
        EXPECT_NE(task->response(), nullptr);
    }
}

TEST_F(ATask, ThatIsCancelledAfterItsBytesCameStillEndsCancelled) {
    server.enqueue(HttpReply::ok("x"));
    const auto task = makeTask();
    recorder->duringData = [](UrlSessionTask& running) { running.cancel(); };
    task->resume();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 1", "end -999"}));
}

TEST_F(ATask, HandsNothingOnWhileItIsSuspended) {
    server.enqueue(HttpReply::ok("hello"));
    const auto task = makeTask();
    task->resume();
    runToRequests(1);
    task->suspend();
    EXPECT_EQ(task->state(), State::Suspended);
    settle();
    EXPECT_TRUE(recorder->calls.empty());
    task->resume();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 5", "end 0"}));
}

TEST_F(ATask, CanBeSuspendedWithinItsCalls) {
    server.enqueue(HttpReply::ok("hello"));
    const auto task = makeTask();
    recorder->duringData = [](UrlSessionTask& running) { running.suspend(); };
    task->resume();
    ASSERT_TRUE(loop.runUntil([&] { return !recorder->calls.empty(); }));
    settle();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 5"}));
    task->resume();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 5", "end 0"}));
}

TEST_F(ATask, CanBeCancelledWhileItIsSuspended) {
    server.enqueue(HttpReply::silence());
    const auto task = makeTask();
    task->resume();
    runToRequests(1);
    task->suspend();
    task->cancel();
    runToEnd();
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -999"}));
}

TEST_F(ATask, DoesNotAgeWhileItIsSuspended) {
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForResource = 90s;
    server.enqueue(HttpReply::silence());
    const auto task = UrlSession::sessionWithConfiguration(configuration, recorder)->dataTaskWithRequest(get("/"));
    task->resume();
    runToRequests(1);
    advance(40s);
    task->suspend();
    advance(1h);
    EXPECT_FALSE(recorder->done);
    task->resume();
    advance(19999ms);
    EXPECT_FALSE(recorder->done);
    advance(1ms);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"end -1001"}));
}

TEST_F(ATask, RunsBesideOthers) {
    server.enqueue("/a", HttpReply::silence());
    server.enqueue("/b", HttpReply::ok("b"));
    const auto session = makeSession();
    LoadResult a;
    LoadResult b;
    start(*session, get("/a"), a);
    start(*session, get("/b"), b);
    ASSERT_TRUE(loop.runUntil([&] { return b.done; }));
    EXPECT_FALSE(a.done);
    server.send(server.requests()[0].target == "/a" ? 0 : 1, "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\na");
    ASSERT_TRUE(loop.runUntil([&] { return a.done; }));
    EXPECT_EQ(a.data, "a");
    EXPECT_EQ(b.data, "b");
    EXPECT_EQ(server.acceptedConnections(), 2U);
}

TEST_F(ATask, WaitsInLineForAPlaceAtItsServer) {
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 1;
    const auto session = UrlSession::sessionWithConfiguration(configuration);
    std::vector<LoadResult> results(4);
    const std::vector<std::string> targets{"/0", "/1", "/2", "/3"};
    std::vector<std::shared_ptr<UrlSessionTask>> tasks;
    for (std::size_t index = 0; index < targets.size(); ++index) {
        server.enqueue(targets[index], HttpReply::silence());
        tasks.push_back(start(*session, get(targets[index]), results[index]));
    }
    settle();
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(tasks[3]->state(), State::Running);
    // One that gives up its turn goes to the end, and one that is cancelled takes none.
    tasks[1]->suspend();
    tasks[1]->resume();
    tasks[2]->cancel();
    ASSERT_TRUE(loop.runUntil([&] { return results[2].done; }));
    EXPECT_EQ(results[2].code(), -999);
    EXPECT_EQ(server.requests().size(), 1U);
    const std::string result = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    for (const std::size_t next : {0U, 3U, 1U}) {
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().back().target == targets[next]; })) << next;
        settle();
        EXPECT_EQ(server.requests().back().target, targets[next]);
        server.send(0, result);
        ASSERT_TRUE(loop.runUntil([&] { return results[next].done; })) << next;
    }
    EXPECT_EQ(server.requests().size(), 3U);
    EXPECT_EQ(server.acceptedConnections(), 1U);
}

TEST_F(ATask, WaitsForItsOwnSessionAndServerAlone) {
    TestSupport::HttpServer otherServer;
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 2;
    const auto session = UrlSession::sessionWithConfiguration(configuration);
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    otherServer.setHandler([](const auto&) { return HttpReply::silence(); });
    std::vector<LoadResult> results(5);
    for (std::size_t index = 0; index < 3; ++index)
        start(*session, get("/"), results[index]);
    UrlRequest elsewhere;
    elsewhere.url = Url::fromString(otherServer.url("/"));
    start(*session, elsewhere, results[3]);
    start(*makeSession(), get("/"), results[4]);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 3 && otherServer.requests().size() == 1; }));
    settle();
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(ATask, MayThrowFromItsCallsAndGoesOn) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc"));
    auto task = makeTask();
    recorder->duringData = [](UrlSessionTask&) { throw std::runtime_error("no room"); };
    recorder->duringEnd = [](UrlSessionTask&) { throw std::runtime_error("too late"); };
    const std::weak_ptr<UrlSessionTask> watch = task;
    task->resume();
    task.reset();
    ASSERT_TRUE(loop.runUntil([&] { return !recorder->pieces.empty(); }));
    server.send(0, "def");
    runToEnd();
    EXPECT_EQ(recorder->data, "abcdef");
    settle();
    EXPECT_EQ(log.entries(), (std::vector<std::string>{"Uncaught exception on url session: no room",
                                                       "Uncaught exception on url session: no room",
                                                       "Uncaught exception on url session: too late"}));
    EXPECT_TRUE(watch.expired());
}

TEST_F(ATask, MayRunTheLoopWithinItsCalls) {
    const Data body(4 << 20, 'x');
    server.enqueue("/", HttpReply::ok(body));
    server.enqueue("/inner", HttpReply::ok("inner"));
    const auto task = makeTask();
    bool nested = false;
    recorder->duringData = [&](UrlSessionTask&) {
        if (!std::exchange(nested, true)) {
            const auto before = recorder->calls.size();
            EXPECT_EQ(load(get("/inner")).data, "inner");
            settle();
            EXPECT_EQ(recorder->calls.size(), before) << "a call came within another";
        }
    };
    task->resume();
    runToEnd();
    EXPECT_TRUE(recorder->data == body);
}

TEST_F(ATask, IsConfiguredAsItsSessionWasWhenItWasMade) {
    UrlSessionConfiguration configuration;
    configuration.httpMaximumConnectionsPerHost = 3;
    const auto session = UrlSession::sessionWithConfiguration(configuration);
    configuration.httpMaximumConnectionsPerHost = 4;
    EXPECT_EQ(session->configuration().httpMaximumConnectionsPerHost, 3);
    EXPECT_EQ(UrlSessionConfiguration::defaultSessionConfiguration().httpMaximumConnectionsPerHost, 6);
}

} // namespace
} // namespace Platform
