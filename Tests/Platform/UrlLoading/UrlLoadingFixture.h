#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Text.h"
#include "Platform/UrlLoading/UrlSession.h"
#include "Support/HttpServer.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Platform {

/// What came of a task with a completion handler.
struct LoadResult {
    bool done = false;
    std::optional<Data> data;
    std::optional<HttpUrlResponse> response;
    std::optional<Error> error;

    int code() const { return error ? error->code : 0; }
};

/// Writes down every call of a delegate.
class Recorder : public UrlSessionDelegate {
public:
    /// "challenge", "data N", "end CODE", in order.
    std::vector<std::string> calls;
    Data data;
    std::vector<std::size_t> pieces;
    std::optional<Error> error;
    bool done = false;
    /// The queues that were current during the calls.
    std::vector<Queue> queues;
    ChallengeHandler challenge;
    /// Run at the end of each call, with the task.
    std::function<void(UrlSessionTask&)> duringData;
    std::function<void(UrlSessionTask&)> duringEnd;

    void URLSessionTaskDidReceiveChallenge(UrlSession&, UrlSessionTask&, ChallengeHandler handler) override {
        note("challenge");
        challenge = std::move(handler);
    }
    void URLSessionDataTaskDidReceiveData(UrlSession&, UrlSessionTask& task, std::string_view bytes) override {
        note("data " + std::to_string(bytes.size()));
        data += bytes;
        pieces.push_back(bytes.size());
        if (duringData)
            duringData(task);
    }
    void URLSessionTaskDidCompleteWithError(UrlSession&, UrlSessionTask& task,
                                            const std::optional<Error>& reason) override {
        note("end " + std::to_string(reason ? reason->code : 0));
        error = reason;
        done = true;
        if (duringEnd)
            duringEnd(task);
    }

private:
    void note(std::string call) {
        calls.push_back(std::move(call));
        queues.push_back(Queue::current());
    }
};

/// A loop on a clock of its own, a web server, and sessions.
class UrlLoadingTest : public testing::Test {
protected:
    TestSupport::LogCapture log;
    ManualClock clock;
    RunLoop loop{clock};
    TestSupport::HttpServer server;

    Url url(std::string_view target) const { return *Url::fromString(server.url(target)); }
    UrlRequest get(std::string_view target) const {
        UrlRequest request;
        request.url = url(target);
        return request;
    }
    UrlRequest post(std::string_view target, Data body) const {
        UrlRequest request = get(target);
        request.httpMethod = "POST";
        request.httpBody = std::move(body);
        return request;
    }

    static std::shared_ptr<UrlSession> makeSession(std::shared_ptr<UrlSessionDelegate> delegate = nullptr) {
        return UrlSession::sessionWithConfiguration({}, std::move(delegate));
    }

    /// Starts a task that puts its outcome into `result`, which must live until then.
    static std::shared_ptr<UrlSessionTask> start(UrlSession& session, UrlRequest request, LoadResult& result) {
        auto task = session.dataTaskWithRequest(std::move(request), into(result));
        task->resume();
        return task;
    }
    static UrlSession::DataHandler into(LoadResult& result) {
        return
            [&result](std::optional<Data> data, std::optional<HttpUrlResponse> response, std::optional<Error> error) {
                EXPECT_FALSE(result.done) << "the handler was called twice";
                result = {true, std::move(data), std::move(response), std::move(error)};
            };
    }

    /// Loads whole, in a session of its own.
    LoadResult load(UrlRequest request) {
        LoadResult result;
        start(*makeSession(), std::move(request), result);
        EXPECT_TRUE(loop.runUntil([&] { return result.done; })) << "no response was received";
        return result;
    }
    /// Loads what the server says in exactly these bytes.
    LoadResult loadRaw(std::string bytes) {
        server.enqueue(TestSupport::HttpReply::raw(std::move(bytes)).thenClose());
        return load(get("/"));
    }

    /// Lets everything happen that is ready to happen.
    void settle() {
        for (int turn = 0; turn < 50; ++turn)
            loop.runOnce(Duration::zero());
    }
    void advance(Duration time) {
        clock.advance(time);
        settle();
    }
};

} // namespace Platform
