// Uploads from files and downloads into files.

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"
#include "UrlLoadingFixture.h"

#include <sys/stat.h>

#include <filesystem>

namespace Platform {
namespace {

using TestSupport::HttpReply;

class AnUpload : public UrlLoadingTest {
protected:
    TestSupport::TemporaryDirectory folder;

    LoadResult upload(const Url& file, UrlRequest request) {
        LoadResult result;
        makeSession()->uploadTaskWithRequest(std::move(request), file, into(result))->resume();
        EXPECT_TRUE(loop.runUntil([&] { return result.done; }));
        return result;
    }
    LoadResult upload(const std::string& content) {
        UrlRequest request = post("/", "not this");
        request.setValueForHTTPHeaderField("application/octet-stream", "Content-Type");
        return upload(Url::fileUrl(folder.write("a b.bin", content)), request);
    }
};

TEST_F(AnUpload, SendsItsFileWithItsLength) {
    server.enqueue(HttpReply::json("{}"));
    const std::string content("some\0bytes", 10);
    EXPECT_EQ(upload(content).data, "{}");
    const auto& request = server.requests().back();
    EXPECT_EQ(request.bytes, "POST / HTTP/1.1\r\nHost: " + server.host() +
                                 "\r\nUser-Agent: UrlLoadingTests/" PRODUCT_VERSION
                                 "\r\nContent-Type: application/octet-stream\r\nContent-Length: 10\r\n\r\n" +
                                 content);
}

TEST_F(AnUpload, SendsALargeFileWhole) {
    server.enqueue(HttpReply::ok("x"));
    std::string content(5000000, '\0');
    for (std::size_t at = 0; at < content.size(); ++at)
        content[at] = static_cast<char>(at % 249);
    EXPECT_EQ(upload(content).data, "x");
    EXPECT_TRUE(server.requests().back().body == content);
}

TEST_F(AnUpload, SendsAnEmptyFile) {
    server.enqueue(HttpReply::ok("x"));
    EXPECT_EQ(upload(std::string()).data, "x");
    EXPECT_EQ(server.requests().back().header("Content-Length"), "0");
    EXPECT_EQ(server.requests().back().header("Content-Type"), "application/octet-stream");
}

TEST_F(AnUpload, SendsTheWholeFileAgainAfterARedirectAndNeverForAConnectionThatIsLost) {
    const std::string content(300000, 'x');
    server.enqueue(HttpReply::status(307, "", {{"Location", "/b"}}));
    server.enqueue("/b", HttpReply::ok("there"));
    EXPECT_EQ(upload(content).data, "there");
    EXPECT_TRUE(server.requests().back().body == content);
    server.enqueue(HttpReply::silence().thenClose());
    EXPECT_EQ(upload(content).code(), -1005);
    EXPECT_TRUE(server.requests().back().body == content);
    EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(AnUpload, OfAFileThatCannotBeReadSendsNothing) {
    const auto request = post("/", "");
    EXPECT_EQ(upload(Url::fileUrl(folder.path("missing")), request).code(), -1100);
    EXPECT_EQ(upload(Url::fileUrl(folder.path()), request).code(), -1100);
    EXPECT_EQ(upload(*Url::fromString("http://127.0.0.1/etc/passwd"), request).code(), -1100);
    EXPECT_EQ(upload(*Url::fromString("file:///tmp%00/x"), request).code(), -1100);
    EXPECT_EQ(server.acceptedConnections(), 0U);
}

TEST_F(AnUpload, TellsHowMuchOfItIsSent) {
    server.enqueue(HttpReply::silence());
    LoadResult result;
    const auto task = makeSession()->uploadTaskWithRequest(
        post("/", ""), Url::fileUrl(folder.write("a", std::string(3 << 20, 'x'))), into(result));
    EXPECT_EQ(task->countOfBytesSent(), 0U);
    task->resume();
    ASSERT_TRUE(loop.runUntil([&] { return task->countOfBytesSent() > 0; }));
    EXPECT_LE(task->countOfBytesSent(), 3U << 20);
    ASSERT_TRUE(loop.runUntil([&] { return task->countOfBytesSent() == 3U << 20; }));
    server.send(0, HttpReply::ok("x").bytes());
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(result.data, "x");
    EXPECT_EQ(task->countOfBytesSent(), 0U);
}

TEST_F(AnUpload, OfAFileThatShrinksMeanwhileFails) {
    const auto path = folder.write("a", std::string(8 << 20, 'x'));
    LoadResult result;
    makeSession()->uploadTaskWithRequest(post("/", ""), Url::fileUrl(path), into(result))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return server.unfinishedRequests() == 1; }));
    std::filesystem::resize_file(path, 1);
    ASSERT_TRUE(loop.runUntil([&] { return result.done; }));
    EXPECT_EQ(result.code(), -1);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(AnUpload, DoesNotTimeOutWhileBytesGo) {
    server.enqueue(HttpReply::ok("x"));
    LoadResult result;
    makeSession()
        ->uploadTaskWithRequest(post("/", ""), Url::fileUrl(folder.write("a", std::string(100 << 20, 'x'))),
                                into(result))
        ->resume();
    // A bit of time passes at each turn of the loop: far less than a minute while the server empties the sockets'
    // buffers, and more than one in all.
    while (!result.done) {
        loop.runOnce(std::chrono::seconds(5));
        clock.advance(std::chrono::milliseconds(100));
    }
    EXPECT_GT(clock.now(), std::chrono::seconds(70));
    EXPECT_EQ(result.code(), 0);
    EXPECT_EQ(result.data, "x");
}

TEST_F(AnUpload, FromAStreamSendsNothingAndReportsToTheDelegate) {
    server.enqueue(HttpReply::ok("x"));
    const auto recorder = std::make_shared<Recorder>();
    makeSession(recorder)->uploadTaskWithStreamedRequest(post("/", "not sent"))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    EXPECT_EQ(server.requests().back().header("Content-Length"), "0");
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"data 1", "end 0"}));
}

class ADownload : public UrlLoadingTest {
protected:
    TestSupport::TemporaryDirectory folder;
    TestSupport::ScopedEnvironment environment{{"TMPDIR", folder.path("temporary")}};

    /// What the handler was given, looked at while it ran.
    struct Download {
        std::optional<std::string> location;
        std::string content;
        mode_t mode = 0;
        std::optional<HttpUrlResponse> response;
        int code = 0;
    };

    Download download(std::optional<Url> url, const UrlSessionConfiguration& configuration = {}) {
        Download result;
        bool done = false;
        UrlSession::sessionWithConfiguration(configuration)
            ->downloadTaskWithURL(std::move(url),
                                  [&](const auto& location, const auto& response, const auto& error) {
                                      result.location = location;
                                      result.response = response;
                                      result.code = error ? error->code : 0;
                                      if (location)
                                          look(*location, result);
                                      done = true;
                                  })
            ->resume();
        EXPECT_TRUE(loop.runUntil([&] { return done; }));
        settle();
        return result;
    }
    void look(const std::string& location, Download& result) const {
        struct stat status {};
        EXPECT_EQ(::stat(location.c_str(), &status), 0);
        result.mode = status.st_mode & 0777;
        result.content = folder.read("temporary/" + std::filesystem::path(location).filename().string());
    }
    bool nothingIsLeft() const {
        return !std::filesystem::exists(folder.path("temporary")) ||
               std::filesystem::is_empty(folder.path("temporary"));
    }
};

TEST_F(ADownload, KeepsToTheLongestThatItsSessionAllows) {
    UrlSessionConfiguration configuration;
    configuration.maximumDownloadLength = 10;
    server.enqueue(HttpReply::ok("0123456789"));
    EXPECT_EQ(download(url("/"), configuration).content, "0123456789");
    for (const auto& headers :
         {"Content-Length: 11\r\n\r\n012", "Transfer-Encoding: chunked\r\n\r\nb\r\n0123456789a\r\n"}) {
        server.enqueue(HttpReply::raw(std::string("HTTP/1.1 200 OK\r\n") + headers));
        const Download refused = download(url("/"), configuration);
        EXPECT_EQ(refused.code, -1103);
        EXPECT_FALSE(refused.location);
        // It is ended at once: nobody waits for its end.
        EXPECT_TRUE(loop.runUntil([&] { return server.openConnections() == 0; }));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("temporary")));
}

TEST_F(ADownload, IsInAFileThatOnlyTheUserReadsUntilTheHandlerHasRun) {
    std::string content(3 << 20, '\0');
    for (std::size_t at = 0; at < content.size(); ++at)
        content[at] = static_cast<char>(at % 247);
    server.enqueue(HttpReply::ok(content));
    const auto result = download(url("/a"));
    ASSERT_TRUE(result.location);
    EXPECT_TRUE(result.location->starts_with(folder.path("temporary/download-"))) << *result.location;
    EXPECT_EQ(result.mode, 0600U);
    EXPECT_TRUE(result.content == content);
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_EQ(server.requests().back().method, "GET");
    EXPECT_FALSE(std::filesystem::exists(*result.location));
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ADownload, OfNoBytesIsAnEmptyFile) {
    server.enqueue(HttpReply::ok());
    const auto result = download(url("/"));
    ASSERT_TRUE(result.location);
    EXPECT_EQ(result.content, "");
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ADownload, ThatFailsLeavesNoFile) {
    server.enqueue(HttpReply::ok("hello").cutAfter(40).thenClose());
    const auto result = download(url("/"));
    EXPECT_EQ(result.code, -1005);
    EXPECT_EQ(result.location, std::nullopt);
    EXPECT_TRUE(result.response);
    EXPECT_TRUE(nothingIsLeft());
    EXPECT_EQ(download(std::nullopt).code, -1000);
}

TEST_F(ADownload, ThatCannotBeStoredFails) {
    folder.write("temporary", "in the way");
    server.enqueue(HttpReply::ok("hello"));
    const auto result = download(url("/"));
    EXPECT_EQ(result.code, -1);
    EXPECT_EQ(result.location, std::nullopt);
}

TEST_F(ADownload, ThatIsDroppedLeavesNoFile) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhello"));
    bool called = false;
    auto task =
        makeSession()->downloadTaskWithURL(url("/"), [&](const auto&, const auto&, const auto&) { called = true; });
    task->resume();
    ASSERT_TRUE(loop.runUntil([&] { return !nothingIsLeft(); }));
    task->cancel();
    ASSERT_TRUE(loop.runUntil([&] { return called; }));
    task.reset();
    settle();
    EXPECT_TRUE(nothingIsLeft());
}

} // namespace
} // namespace Platform
