// What an error of URL loading says: the text of its code, and what went wrong.

#include "Platform/UrlLoading/DownloadedFile.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"
#include "UrlLoadingFixture.h"
#include "WatchLimit.h"

#include <climits>

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <set>

namespace Platform {
namespace {

using TestSupport::HttpReply;

TEST(AnErrorOfUrlLoading, SaysWhatItsCodeMeans) {
    const std::vector<std::pair<int, const char*>> texts{
        {-999, "The request was cancelled"},
        {-1000, "The request has no usable URL or headers"},
        {-1001, "The request timed out"},
        {-1002, "The URL has an unsupported scheme"},
        {-1003, "The host name was not found"},
        {-1004, "Could not connect to the host"},
        {-1005, "The network connection was lost"},
        {-1007, "Too many redirects"},
        {-1011, "The response is not HTTP"},
        {-1015, "The response's bytes are not in their transfer coding"},
        {-1016, "The response's transfer coding is not known"},
        {-1100, "The file does not exist or cannot be read"},
        {-1103, "The response is too long to be held in memory"},
        {-1200, "No secure connection could be made"},
        {-1202, "The certificate of the server was not accepted"},
        {-1, "Loading failed"},
        {-2, "Loading failed"},
    };
    for (const auto& [code, text] : texts) {
        EXPECT_EQ(UrlError::make(code), (Error{"UrlLoading", code, text}));
        EXPECT_EQ(UrlError::make(code, "x"), (Error{"UrlLoading", code, std::string(text) + ": x"}));
    }
}

TEST(AnErrorOfUrlLoading, NamesTheLimitOfAResponse) {
    const std::string start = "The response is too long to be held in memory: more than ";
    EXPECT_EQ(UrlError::tooLong(64 << 20), (Error{"UrlLoading", -1103, start + "64 MiB"}));
    EXPECT_EQ(UrlError::tooLong((64 << 20) + 1), (Error{"UrlLoading", -1103, start + "67108865 bytes"}));
}

class TheTextOfAFailure : public UrlLoadingTest {
protected:
    std::string textOf(UrlRequest request) {
        const LoadResult result = load(std::move(request));
        return result.error ? result.error->localizedDescription : "none";
    }
    std::string textOf(const char* address) {
        UrlRequest request;
        request.url = Url::fromString(address);
        return textOf(request);
    }
    std::string textAfter(const HttpReply& reply) {
        server.enqueue(reply);
        return textOf(get("/"));
    }
    std::string textOfUpload(
        const std::string& path, const std::function<void()>& meanwhile = [] {}) {
        LoadResult result;
        makeSession()->uploadTaskWithRequest(post("/", ""), Url::fileUrl(path), into(result))->resume();
        meanwhile();
        EXPECT_TRUE(loop.runUntil([&] { return result.done; }));
        return result.error ? result.error->localizedDescription : "none";
    }

    TestSupport::TemporaryDirectory folder;
};

TEST_F(TheTextOfAFailure, NamesTheAddressThatCannotBeUsed) {
    EXPECT_EQ(textOf(UrlRequest()), "The request has no usable URL or headers: no URL");
    EXPECT_EQ(textOf("a/b"), "The request has no usable URL or headers: a/b");
    EXPECT_EQ(textOf("http:///x"), "The request has no usable URL or headers: http:///x names no host");
    EXPECT_EQ(textOf("ftp://host/x"), "The URL has an unsupported scheme: ftp://host/x");
}

TEST_F(TheTextOfAFailure, NamesTheAddressOfTheLastRedirect) {
    server.setHandler([](const TestSupport::HttpRequest& request) {
        return HttpReply::status(302, {},
                                 {{"Location", "/" + std::to_string(std::stoi(request.target.substr(1)) + 1)}});
    });
    EXPECT_EQ(textOf(get("/1")), "Too many redirects: " + server.url("/17"));
}

TEST_F(TheTextOfAFailure, NamesTheAddressThatGaveNoResponseInTime) {
    server.enqueue(HttpReply::silence());
    LoadResult result;
    start(*makeSession(), get("/slow"), result);
    ASSERT_TRUE(loop.runUntil([&] { return server.requests().size() == 1; }));
    advance(std::chrono::seconds(60));
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->localizedDescription, "The request timed out: " + server.url("/slow"));
}

TEST_F(TheTextOfAFailure, SaysWhatIsWrongWithTheResponse) {
    EXPECT_EQ(textAfter(HttpReply::raw("HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n")),
              "The response is not HTTP: the headers are malformed or too long");
    EXPECT_EQ(textAfter(HttpReply::raw("HTTP/1.1 200 OK\r\nA: 1\r\n").thenClose()),
              "The network connection was lost: the connection was closed within the response's headers");
    EXPECT_EQ(textAfter(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc").thenClose()),
              "The network connection was lost: transfer closed with 2 bytes remaining to read");
}

TEST_F(TheTextOfAFailure, SaysHowALongBodyEnded) {
    const auto begun = HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 900000\r\n\r\n" + std::string(300000, 'x'));
    EXPECT_EQ(textAfter(begun.thenClose()),
              "The network connection was lost: the connection was closed before the end of the body");
    server.enqueue(begun);
    const auto recorder = std::make_shared<Recorder>();
    makeSession(recorder)->dataTaskWithRequest(get("/"))->resume();
    ASSERT_TRUE(loop.runUntil([&] { return recorder->data.size() == 300000; }));
    settle();
    server.reset(1);
    ASSERT_TRUE(loop.runUntil([&] { return recorder->done; }));
    EXPECT_EQ(recorder->error->localizedDescription, "The network connection was lost: Connection reset by peer");
}

TEST_F(TheTextOfAFailure, SaysThatARequestWasSentOnAConnectionThatEnded) {
    server.enqueue(HttpReply::ok("x"));
    EXPECT_EQ(textOf(get("/")), "none");
    server.enqueue(HttpReply::silence().thenClose());
    EXPECT_EQ(textOf(post("/", "{}")),
              "The network connection was lost: the connection ended after the request was sent on it");
}

TEST_F(TheTextOfAFailure, NamesTheFileThatCannotBeSent) {
    const auto missing = folder.path("missing");
    EXPECT_EQ(textOfUpload(missing), "The file does not exist or cannot be read: " + missing);
    const auto shrinking = folder.write("a", std::string(8 << 20, 'x'));
    EXPECT_EQ(textOfUpload(shrinking,
                           [&] {
                               ASSERT_TRUE(loop.runUntil([&] { return server.unfinishedRequests() == 1; }));
                               std::filesystem::resize_file(shrinking, 1);
                           }),
              "Loading failed: the file to send became shorter or unreadable");
}

TEST_F(TheTextOfAFailure, SaysThatASocketCannotBeWatched) {
    server.setHandler([](const auto&) { return HttpReply::ok("x"); });
    std::set<std::string> texts;
    for (int left = 0; left < 6; ++left) {
        server.closeAll();
        settle();
        LoadResult result;
        watchesLeft = left;
        start(*makeSession(), get("/"), result);
        loop.runUntil([&] { return result.done; }, std::chrono::seconds(1));
        watchesLeft = INT_MAX;
        if (result.done && result.error)
            texts.insert(result.error->localizedDescription);
        advance(std::chrono::seconds(60));
    }
    EXPECT_TRUE(texts.contains("The network connection was lost: its socket cannot be watched"));
}

TEST_F(TheTextOfAFailure, NamesTheFileThatADownloadCannotBeStoredIn) {
    const TestSupport::ScopedEnvironment environment{{"TMPDIR", folder.path("temporary")}};
    folder.write("temporary", "in the way");
    DownloadedFile refused;
    const auto refusal = refused.append("x");
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->code, -1);
    EXPECT_EQ(refusal->localizedDescription, "Loading failed: " + folder.path("temporary") + "/: File exists");
    EXPECT_EQ(refused.path(), "");
    std::filesystem::remove(folder.path("temporary"));

    DownloadedFile full;
    EXPECT_EQ(full.append("x"), std::nullopt);
    const auto path = full.path();
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit scarce{3, usual.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &scarce), 0);
    const auto error = full.append("abcdef");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(error, (Error{"UrlLoading", -1, "Loading failed: " + path + ": File too large"}));
    EXPECT_EQ(full.path(), path);
}

} // namespace
} // namespace Platform
