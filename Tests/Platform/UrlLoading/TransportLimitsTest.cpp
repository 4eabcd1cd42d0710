// Where the transport does one thing and no longer another: lengths, numbers of connections, times, and what it hands
// on to programs that are started.

#include "Platform/UrlLoading/UrlConnection.h"
#include "Support/Command.h"
#include "Support/TemporaryDirectory.h"
#include "UrlLoadingFixture.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace Platform {
namespace {

using namespace std::chrono_literals;
using TestSupport::HttpReply;

class TheTransport : public UrlLoadingTest {
protected:
    /// How many connections two requests take whose responses have bodies of that length.
    std::size_t connectionsForTwo(std::size_t length) {
        const std::size_t before = server.acceptedConnections();
        server.setHandler([=](const auto&) { return HttpReply::ok(std::string(length, 'x')); });
        EXPECT_EQ(load(get("/")).data, std::string(length, 'x'));
        EXPECT_EQ(load(get("/")).data, std::string(length, 'x'));
        server.closeAll();
        settle();
        return server.acceptedConnections() - before;
    }
    /// What the kernel tells of this process's descriptor of a file (proc(5), /proc/[pid]/fdinfo).
    static std::string descriptorInfo(const std::string& path) {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code none;
            if (std::filesystem::read_symlink(entry.path(), none) != path)
                continue;
            std::ostringstream told;
            told << std::ifstream("/proc/self/fdinfo/" + entry.path().filename().string()).rdbuf();
            return told.str();
        }
        return "not open";
    }

    TestSupport::TemporaryDirectory folder;
};

TEST_F(TheTransport, TakesTheConnectionOfABodyFrom256KiBOn) {
    EXPECT_EQ(connectionsForTwo((256 << 10) - 1), 1U);
    EXPECT_EQ(connectionsForTwo(256 << 10), 2U);
}

TEST_F(TheTransport, SendsTheRestOfARequestThatIsAnsweredEarlyAtLength) {
    const Data body(30 << 20, 'b');
    LoadResult result;
    start(*makeSession(), post("/", body), result);
    ASSERT_TRUE(loop.runUntil([&] { return server.unfinishedRequests() == 1; }));
    server.send(0, "HTTP/1.1 200 OK\r\nContent-Length: 400000\r\n\r\n" + std::string(300000, 'x'));
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_TRUE(server.requests().front().body == body);
    server.send(0, std::string(100000, 'x'));
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
}

TEST_F(TheTransport, UsesOneConnectionWhereASessionAllowsNone) {
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    for (const int none : {0, -3}) {
        UrlSessionConfiguration configuration;
        configuration.httpMaximumConnectionsPerHost = none;
        const auto session = UrlSession::sessionWithConfiguration(configuration);
        const std::size_t before = server.requests().size();
        std::vector<LoadResult> results(2);
        for (auto& result : results)
            start(*session, get("/"), result)->setTaskDescription("x");
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() > before; }));
        settle();
        EXPECT_EQ(server.requests().size(), before + 1);
        advance(60s);
        ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == before + 2; }));
        advance(60s);
        EXPECT_TRUE(results[0].done && results[1].done);
    }
}

TEST_F(TheTransport, SendsAFileOnceMoreFromItsStartWhereTheMethodAllowsThat) {
    const std::string content(300000, 'x');
    server.enqueue(HttpReply::ok("first"));
    EXPECT_EQ(load(get("/")).data, "first");
    server.enqueue(HttpReply::silence().thenClose());
    server.enqueue(HttpReply::ok("again"));
    auto request = get("/put");
    request.httpMethod = "PUT";
    LoadResult result;
    makeSession()->uploadTaskWithRequest(request, Url::fileUrl(folder.write("a", content)), into(result))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(result.data, "again");
    ASSERT_EQ(server.requests().size(), 3U);
    EXPECT_TRUE(server.requests()[1].body == content);
    EXPECT_TRUE(server.requests()[2].body == content);
}

TEST_F(TheTransport, HandsTheFileThatItSendsToNoProgramThatIsStarted) {
    const auto path = folder.write("a", std::string(8 << 20, 'x'));
    LoadResult result;
    makeSession()->uploadTaskWithRequest(post("/", ""), Url::fileUrl(path), into(result))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return server.unfinishedRequests() == 1; }));
    // O_CLOEXEC, O_LARGEFILE and O_NONBLOCK.
    const auto told = descriptorInfo(std::filesystem::canonical(path));
    EXPECT_NE(told.find("flags:\t02104000"), std::string::npos) << told;
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(descriptorInfo(std::filesystem::canonical(path)), "not open");
}

TEST_F(TheTransport, DoesNotWaitForAFifoThatNobodyWritesTo) {
    ASSERT_EQ(::mkfifo(folder.path("fifo").c_str(), 0600), 0);
    LoadResult result;
    makeSession()->uploadTaskWithRequest(post("/", ""), Url::fileUrl(folder.path("fifo")), into(result))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(result.code(), -1100);
}

TEST_F(TheTransport, ReceivesNoMoreThanAPieceInATurnOfTheLoop) {
    constexpr std::size_t piece = 1 << 20;
    const std::string length = std::to_string(8 * piece);
    // libcurl receives the one body, since its length is not known; the other is received from the connection itself.
    for (const auto& headers : {std::string("Connection: close"), "Content-Length: " + length}) {
        server.enqueue(
            HttpReply::raw("HTTP/1.1 200 OK\r\n" + headers + "\r\n\r\n" + std::string(8 * piece, 'x')).thenClose());
        const auto recorder = std::make_shared<Recorder>();
        std::map<std::uint64_t, std::size_t> receivedInTurn;
        std::size_t piled = 0;
        recorder->duringData = [&](UrlSessionTask& task) {
            if (piled == 0)
                task.suspend();
            receivedInTurn[RunLoop::currentTurn().value_or(0)] += recorder->pieces.back();
        };
        const auto task = makeSession(recorder)->dataTaskWithRequest(get("/"));
        task->resume();
        ASSERT_TRUE(loop.runUntil([&] { return !recorder->data.empty(); }));
        settle();
        piled = 8 * piece - server.unsentBytes(server.acceptedConnections() - 1) - recorder->data.size();
        EXPECT_GT(piled, 2 * piece) << "too little is there to be received at once";
        task->resume();
        ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
        EXPECT_EQ(recorder->data.size(), 8 * piece);
        for (const auto& [turn, bytes] : receivedInTurn)
            EXPECT_LE(bytes, piece) << headers << ", turn " << turn;
    }
}

TEST_F(TheTransport, GivesAWholeTransferAWeek) {
    auto request = get("/");
    request.timeoutInterval = std::chrono::hours(24 * 365);
    UrlSessionConfiguration configuration;
    configuration.timeoutIntervalForRequest = std::chrono::hours(24 * 365);
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    LoadResult overSession;
    start(*UrlSession::sessionWithConfiguration(configuration), request, overSession);
    LoadResult overConnection;
    UrlConnection::sendAsynchronousRequest(request, Queue::main(), [&](auto, auto, auto error) {
        overConnection = {true, {}, {}, std::move(error)};
    });
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 2; }));
    advance(std::chrono::hours(7 * 24) - 1ms);
    EXPECT_FALSE(overSession.done || overConnection.done);
    advance(1ms);
    EXPECT_EQ(overSession.code(), -1001);
    EXPECT_EQ(overConnection.code(), -1001);
}

TEST_F(TheTransport, NamesItsProgramInCharactersOfATokenAlone) {
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    std::filesystem::create_symlink(LOADING_CLIENT, folder.path("a b(c)"));
    const auto result = TestSupport::runCommand({folder.path("a b(c)"), server.host(), "900000000"});
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests().back().header("User-Agent"), "a-b-c-/" PRODUCT_VERSION);
}

} // namespace
} // namespace Platform
