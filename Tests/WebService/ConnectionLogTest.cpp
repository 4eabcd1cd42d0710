// What the log says of connections and requests.

#include "Support/HttpClient.h"
#include "Support/ServedApplication.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>

namespace webservice::test {

namespace {

/// An application whose error responses fail too.
class FailingApplication : public ServedApplication {
public:
    explicit FailingApplication(std::function<Response()> respond) : respond_(std::move(respond)) {}
    Response errorFor(const Request& request, const RequestError& error) const override {
        static_cast<void>(request);
        static_cast<void>(error);
        return respond_();
    }

private:
    std::function<Response()> respond_;
};

/// Serves one request whose response fails, in a process of its own, which ends with 0 where the server lives on.
[[noreturn]] void serveAFailure(std::function<Response()> respond) {
    FailingApplication application(std::move(respond));
    application.on("/hello", [] { return textResponse("hello"); });
    const std::uint16_t port = application.serve();
    HttpClient failing(port);
    failing.send("GET /nothing HTTP/1.1\r\n\r\n");
    const bool isClosed = failing.isClosedByPeer();
    std::_Exit(isClosed && HttpClient(port).exchange("GET", "/hello", "").body == "hello" ? 0 : 1);
}

/// Starts processes for tests that look at standard error, with a log of their own.
class AServerThatLogs : public ::testing::Test {
protected:
    AServerThatLogs() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

} // namespace

TEST_F(AServerThatLogs, AConnectionThatFailsServesTheOthers) {
    EXPECT_EXIT(serveAFailure([]() -> Response { throw std::runtime_error("broken"); }), testing::ExitedWithCode(0),
                "Z a connection failed: broken\n");
    EXPECT_EXIT(serveAFailure([]() -> Response { throw 42; }), testing::ExitedWithCode(0), "Z a connection failed\n");
}

TEST(ARequestInTheLog, HasItsPeerItsLineItsStatusItsBytesAndItsTime) {
    const TemporaryFolder folder;
    ServiceProcess service(folder.path("data").string());
    {
        HttpClient client(service.port());
        EXPECT_EQ(client.exchange("GET", "/status?computer=7", "").status, 200);
        EXPECT_EQ(client.exchange("GET", "/nothing", "").status, 404);
        EXPECT_EQ(client.exchange("GET", "/status", "").status, 200);
        HttpClient malformed(service.port());
        malformed.send("nonsense\r\n\r\n");
        EXPECT_EQ(malformed.receive().status, 400);
        HttpClient aborting(service.port());
        aborting.send("PUT /outbox/7/a HTTP/1.1\r\nContent-Length: 10\r\nExpect: 100-continue\r\n\r\n");
        EXPECT_EQ(aborting.receive().status, 100);
        aborting.reset();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::filesystem::exists(folder.path("data/incoming/1")) && std::chrono::steady_clock::now() < deadline) {
        }
        HttpClient unfinished(service.port());
        unfinished.send("GET /status HTTP/1.1\r\nHo");
        unfinished.endInput();
        EXPECT_TRUE(unfinished.isClosedByPeer());
        HttpClient silent(service.port());
        silent.endInput();
        EXPECT_TRUE(silent.isClosedByPeer());
    }
    service.signal(SIGTERM);
    EXPECT_EQ(service.exitStatus(), 0);
    std::istringstream log(service.errors());
    for (const char* request : {"GET /status 200 115", "GET /nothing 404 171", "GET /status 200 115", "- - 400 172",
                                "PUT /outbox/7/a 0 25", "- - 0 0"}) {
        std::string line;
        std::getline(log, line);
        EXPECT_TRUE(std::regex_match(
            line, std::regex("[-0-9T:.]{23}Z 127\\.0\\.0\\.1:[0-9]+ " + std::string(request) + " [0-9]+\\.[0-9]ms" +
                             (std::string_view(request).find(" 0 ") != std::string_view::npos ? " incomplete" : ""))))
            << line;
    }
    std::string last;
    std::getline(log, last);
    EXPECT_TRUE(last.ends_with("Z ended by a signal")) << last;
}

namespace {

/// The slots of a server whose hard limit of open files is this, in a process of its own, which ends with them.
[[noreturn]] void endWithSlots(rlim_t hard) {
    const rlimit limit{.rlim_cur = 32, .rlim_max = hard};
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const std::size_t slots = raiseDescriptorLimit();
    rlimit after{};
    ::getrlimit(RLIMIT_NOFILE, &after);
    std::_Exit(after.rlim_cur == hard ? static_cast<int>(slots) : 255);
}

} // namespace

TEST_F(AServerThatLogs, HasSlotsForThreeQuartersOfTheDescriptorsThatAreNotNeededElsewhere) {
    for (const auto& [hard, slots] :
         {std::pair(64, 1), std::pair(66, 1), std::pair(67, 2), std::pair(68, 3), std::pair(164, 75), std::pair(40, 1)})
        EXPECT_EXIT(endWithSlots(static_cast<rlim_t>(hard)), testing::ExitedWithCode(slots), "") << hard;
}

} // namespace webservice::test
