// How a stream is received, in the details that show only where something else happens at the same time.

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Services/DownloadConnection.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>

namespace Quenmark {

using TestSupport::HttpReply;

class AStreamsReception : public EngineFixture, public ::testing::WithParamInterface<double> {
protected:
    AStreamsReception() {
        setRelease(GetParam());
        Platform::Files::createDirectory(placed("Docs"));
    }
    bool isSession() const { return GetParam() == release10_10; }

    static std::string headers(std::size_t length) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(length) +
               "\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\n";
    }
    void send(std::string_view bytes) { server.send(last(streamTarget).connection, bytes); }
    /// Whether this process has the file of that path open.
    static bool isOpen(const std::string& path) {
        std::error_code ignored;
        for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
            if (std::filesystem::read_symlink(descriptor, ignored) == path)
                return true;
        }
        return false;
    }
};

TEST_P(AStreamsReception, RunsOnAQueueOfItsOwn) {
    std::vector<Platform::Queue> queues;
    Platform::Log::setSink([&](std::string_view entry) {
        if (entry.starts_with("Bytes Written"))
            queues.push_back(Platform::Queue::current());
    });
    for (const char* name : {"a", "b"}) {
        enqueueFile(std::string(R"(\\)") + name, std::string("\\") + name, "content");
        start();
        ASSERT_TRUE(runUntil([&] { return Platform::Files::exists(placed(name)) && engineProbe.gateIsOpen(); }));
    }
    ASSERT_EQ(queues.size(), 2U);
    for (const auto& queue : queues) {
        EXPECT_NE(queue, Platform::Queue::main());
        EXPECT_NE(queue, Platform::Queue::global(Platform::Priority::Background));
    }
    EXPECT_NE(queues[0], queues[1]);
}

TEST_P(AStreamsReception, WritesAfterAShortWriteFromTheFirstByteOfThePieceAgain) {
    // The file may grow to ten bytes until that is logged, and then without a limit.
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string> writes;
    Platform::Log::setSink([&](std::string_view entry) {
        if (!entry.starts_with("Bytes Written"))
            return;
        writes.emplace_back(entry);
        ::setrlimit(RLIMIT_FSIZE, &before);
    });
    startStream(HttpReply::raw(headers(17)));
    const rlimit ten{10, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &ten);
    send("0123456789abcdef");
    const bool hasWritten = runUntil([&] { return writes.size() == 2; });
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    ASSERT_TRUE(hasWritten);
    EXPECT_EQ(writes, (std::vector<std::string>{"Bytes Written : 10", "Bytes Written : 6"}));
    EXPECT_EQ(contentOf(temporary("Docs/a.txt")), "0123456789012345");
}

TEST_P(AStreamsReception, GoesByTheKindOfTheLastPollsItemOnTheSessionTransportAlone) {
    startStream(HttpReply::raw(headers(6)));
    // A second call opens the gate, and its poll announces a folder while the first item's stream goes on.
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\New)", "False")));
    server.enqueue(acknowledgeTarget, HttpReply::silence());
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    ASSERT_TRUE(Platform::Files::isDirectory(placed("New")));
    Platform::Files::removeItem(placed("New"));
    send("abc");
    if (isSession()) {
        EXPECT_TRUE(runUntil([&] { return Platform::Files::isDirectory(placed("New")); }));
        EXPECT_FALSE(Platform::Files::exists(temporary("New")));
    } else {
        EXPECT_TRUE(runUntil([&] { return contentOf(temporary("New")) == "abc"; }));
        EXPECT_FALSE(Platform::Files::exists(placed("New")));
    }
    EXPECT_FALSE(Platform::Files::exists(temporary("Docs/a.txt")));
}

TEST_P(AStreamsReception, ClosesItsFileAtTheEndOnTheSessionTransportAlone) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    ASSERT_EQ(contentOf(placed("Docs/a.txt")), "content");
    EXPECT_EQ(isOpen(std::filesystem::canonical(placed("Docs/a.txt"))), !isSession());
}

TEST_P(AStreamsReception, BeginsTheNextItemAtItsOwnOffset) {
    writeFile(temporary("Docs/a.txt"), std::string(1234, 'x'));
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "the rest");
    start();
    ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"1234\"\n}");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\Docs\\b.txt)")));
    server.enqueue(streamTarget, HttpReply::silence());
    nextPass();
    ASSERT_TRUE(waitFor(streamTarget, 2));
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"0\"\n}");
}

TEST_P(AStreamsReception, WaitsForNearlyAMinute) {
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::silence());
    clock.advance(std::chrono::seconds(59));
    for (int turn = 0; turn < 10; ++turn)
        loop.runOnce(std::chrono::seconds(0));
    send(HttpReply::ok("content", streamHeaders("\\Docs\\a.txt")).bytes());
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
}

TEST_P(AStreamsReception, ThatEndsWithoutAResponseIsNotAcknowledgedOnTheOlderTransport) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    const auto connection = DownloadConnection::initWithRequest({}, engine, false, std::nullopt);
    engine->connectionDidFinishLoading(*connection);
    engineProbe.setReturnStatus("0");
    engine->connectionDidFinishLoading(*connection);
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    ASSERT_TRUE(runUntil([&] { return engineProbe.returnStatus() == "99"; }));
    EXPECT_EQ(count(acknowledgeTarget), 1U) << "only the second, which has a status";
}

TEST_F(EngineFixture, AConnectionThatHasEndedIsCancelled) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    const auto load = [&](const auto& end) {
        Platform::UrlRequest request;
        request.url = Platform::Url::fromString(server.url("/stream"));
        const auto connection = DownloadConnection::initWithRequest(request, engine, false, std::nullopt);
        connection->start();
        ASSERT_TRUE(runUntil([&] { return server.openConnections() == 1; }));
        end(*connection);
        EXPECT_TRUE(runUntil([&] { return server.openConnections() == 0; }));
    };
    load([&](auto& connection) { engine->connectionDidFinishLoading(connection); });
    load([&](auto& connection) { engine->connectionDidFailWithError(connection, {}); });
}

/// A task that notes what is done with it.
class NotedTask final : public Platform::UrlSessionTask {
public:
    void resume() override { calls.emplace_back("resume"); }
    void suspend() override { calls.emplace_back("suspend"); }
    void cancel() override { calls.emplace_back("cancel"); }
    State state() const override { return State::Completed; }
    const Platform::UrlRequest& originalRequest() const override { return request_; }
    const Platform::HttpUrlResponse* response() const override { return &response_; }
    std::uint64_t countOfBytesSent() const override { return 0; }
    void setTaskDescription(std::string) override {}
    const std::string& taskDescription() const override { return description_; }

    std::vector<std::string> calls;

private:
    Platform::UrlRequest request_;
    Platform::HttpUrlResponse response_;
    std::string description_;
};

TEST_F(EngineFixture, ATaskThatHasEndedIsSuspendedAndThenCancelled) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    const auto session = Platform::UrlSession::sessionWithConfiguration({});
    NotedTask task;
    engine->URLSessionTaskDidCompleteWithError(*session, task, std::nullopt);
    EXPECT_EQ(task.calls, (std::vector<std::string>{"suspend", "cancel"}));
    EXPECT_TRUE(waitFor(acknowledgeTarget)) << "a response without a status is a good one";
}

INSTANTIATE_TEST_SUITE_P(Transports, AStreamsReception, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
