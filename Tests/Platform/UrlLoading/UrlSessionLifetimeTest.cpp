// How long tasks live, and their session and its delegate with them.

#include "UrlLoadingFixture.h"

namespace Platform {
namespace {

using TestSupport::HttpReply;

using TheLifetimeOfATask = UrlLoadingTest;

/// A delegate that keeps its session, as one that makes its own sessions does.
class Owner : public UrlSessionDelegate {
public:
    std::shared_ptr<UrlSession> session;
};

TEST_F(TheLifetimeOfATask, LastsWhileItRunsAndNoLonger) {
    server.enqueue(HttpReply::ok("x"));
    const auto recorder = std::make_shared<Recorder>();
    auto task = makeSession(recorder)->dataTaskWithRequest(get("/"));
    const std::weak_ptr<UrlSessionTask> watch = task;
    task->resume();
    task.reset();
    EXPECT_FALSE(watch.expired());
    ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    settle();
    EXPECT_TRUE(watch.expired());
}

TEST_F(TheLifetimeOfATask, EndsThatOfItsSessionAndDelegate) {
    server.enqueue(HttpReply::ok("x"));
    auto delegate = std::make_shared<Recorder>();
    const std::weak_ptr<Recorder> delegateWatch = delegate;
    auto session = makeSession(delegate);
    const std::weak_ptr<UrlSession> sessionWatch = session;
    bool done = false;
    delegate->duringEnd = [&](UrlSessionTask&) { done = true; };
    const auto task = session->dataTaskWithRequest(get("/"));
    task->resume();
    session.reset();
    delegate.reset();
    EXPECT_FALSE(sessionWatch.expired());
    EXPECT_FALSE(delegateWatch.expired());
    ASSERT_TRUE(loop.runUntil([&] { return done; }));
    settle();
    EXPECT_TRUE(sessionWatch.expired());
    EXPECT_TRUE(delegateWatch.expired());
    EXPECT_EQ(task->state(), UrlSessionTask::State::Completed);
}

TEST_F(TheLifetimeOfATask, EndsThatOfASessionThatItsDelegateKeeps) {
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    auto owner = std::make_shared<Owner>();
    owner->session = makeSession(owner);
    const std::weak_ptr<Owner> watch = owner;
    LoadResult first;
    start(*owner->session, get("/"), first);
    ASSERT_TRUE(loop.runUntil([&] { return first.done; }));
    LoadResult second;
    start(*owner->session, get("/"), second);
    owner.reset();
    EXPECT_FALSE(watch.expired());
    ASSERT_TRUE(loop.runUntil([&] { return second.done; }));
    settle();
    EXPECT_TRUE(watch.expired());
}

TEST_F(TheLifetimeOfATask, EndsThatOfItsSessionWhereItNeverRan) {
    auto owner = std::make_shared<Owner>();
    owner->session = makeSession(owner);
    auto task = owner->session->uploadTaskWithStreamedRequest(get("/"));
    const std::weak_ptr<Owner> watch = owner;
    owner.reset();
    EXPECT_FALSE(watch.expired());
    task.reset();
    EXPECT_TRUE(watch.expired());
}

TEST_F(TheLifetimeOfATask, MayEndInItsHandlerWithEverythingElse) {
    server.enqueue(HttpReply::ok("x"));
    auto session = makeSession();
    auto task = std::make_shared<std::shared_ptr<UrlSessionTask>>();
    bool done = false;
    *task = session->dataTaskWithRequest(get("/"), [&, task](const auto&, const auto&, const auto&) {
        session.reset();
        task->reset();
        done = true;
    });
    (*task)->resume();
    ASSERT_TRUE(loop.runUntil([&] { return done; }));
}

TEST(ALoopThatEnds, DropsEveryLoadWithoutACall) {
    const auto recorder = std::make_shared<Recorder>();
    std::shared_ptr<UrlSessionTask> kept;
    std::weak_ptr<UrlSession> session;
    {
        RunLoop loop;
        TestSupport::HttpServer server;
        server.enqueue("/silent", HttpReply::silence());
        server.enqueue("/long",
                       HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 9000000\r\n\r\n" + Data(400000, 'x')));
        UrlSessionConfiguration configuration;
        configuration.httpMaximumConnectionsPerHost = 2;
        auto strong = UrlSession::sessionWithConfiguration(configuration, recorder);
        session = strong;
        // The last one waits for a place.
        for (const auto* target : {"/silent", "/long", "/waiting"}) {
            UrlRequest request;
            request.url = Url::fromString(server.url(target));
            kept = strong->dataTaskWithRequest(request);
            kept->resume();
        }
        ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == 400000; }));
        recorder->calls.clear();
    }
    EXPECT_TRUE(recorder->calls.empty());
    EXPECT_EQ(kept->state(), UrlSessionTask::State::Completed);
    kept->suspend();
    kept->resume();
    kept->cancel();
    EXPECT_TRUE(recorder->calls.empty());
    kept.reset();
    EXPECT_TRUE(session.expired());
    EXPECT_EQ(recorder.use_count(), 1);
}

} // namespace
} // namespace Platform
