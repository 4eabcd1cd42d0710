// The session connector's JSON post against a real server: statuses, queue, log, wire.

#include "Services/RestConnector.h"

#include "ConnectorReports.h"
#include "Platform/Text.h"
#include "ServiceFixture.h"

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ServicesTests {

namespace {

using Platform::Queue;
using Quenmark::RestConnector;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

class ASessionConnector : public ServiceFixture {
protected:
    using ServiceFixture::ServiceFixture;

    /// Posts `params` and gives the connector back, which nobody else here holds.
    std::shared_ptr<RestConnector> post(const boost::json::value& params = boost::json::object{},
                                        const char* task = pollPath) {
        auto connector = std::make_shared<RestConnector>(context);
        connector->startAsyncTask(task, params, nullptr, reports.handler());
        return connector;
    }
    [[nodiscard]] bool awaitReport() {
        return runUntil([&] { return !reports.all.empty(); });
    }

    Reports<boost::json::value> reports{log};
};

TEST_F(ASessionConnector, ReportsADecodedResponseOnTheMainQueue) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus": "0"})"));
    post(boost::json::object{{"ToComputerID", "91"}});
    EXPECT_TRUE(reports.all.empty());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"ReturnStatus": "0"})"));
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    EXPECT_EQ(log.entries(),
              (Log{"Json String {\n  \"ToComputerID\" : \"91\"\n}", "response {\n    \"ReturnStatus\" = \"0\";\n}"}));
}

TEST_F(ASessionConnector, SendsExactlyTheseBytes) {
    server.enqueue(HttpReply::json("{}"));
    post(boost::json::object{{"ToComputerID", "91"}});
    ASSERT_TRUE(awaitReport());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].bytes, "POST /QuenmarkRestService/Uploads.svc/GetTopFileUpload HTTP/1.1\r\n"
                                          "Host: " +
                                              server.host() +
                                              "\r\n"
                                              "User-Agent: ServicesTests/" PRODUCT_VERSION "\r\n"
                                              "Content-Type: application/json\r\n"
                                              "Content-Length: 27\r\n"
                                              "\r\n"
                                              "{\n  \"ToComputerID\" : \"91\"\n}");
}

TEST_F(ASessionConnector, PostsOnTheDownloadConfiguration) {
    server.enqueue(HttpReply::json("{}"));
    const auto connector = post();
    ASSERT_NE(connector->session(), nullptr);
    const auto& configuration = connector->session()->configuration();
    EXPECT_EQ(configuration.httpAdditionalHeaders.size(), 0U);
    EXPECT_EQ(configuration.timeoutIntervalForRequest, std::chrono::seconds(60));
    EXPECT_EQ(configuration.timeoutIntervalForResource, std::chrono::seconds(60));
    EXPECT_EQ(configuration.httpMaximumConnectionsPerHost, 6);
    EXPECT_EQ(connector->session()->delegateQueue(), Queue::main());
    ASSERT_TRUE(awaitReport());
}

TEST_F(ASessionConnector, SendsNothingWhereTheNetworkIsNotReachable) {
    setReachable(false);
    const auto connector = post();
    ASSERT_EQ(reports.all.size(), 1U) << "it is reported before the call returns";
    EXPECT_EQ(reports.all[0].status, 1U);
    EXPECT_TRUE(reports.all[0].result.isNil());
    EXPECT_EQ(connector->session(), nullptr);
    EXPECT_EQ(connector->sessionTask(), nullptr);
    EXPECT_FALSE(connector->progressHandler());
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(reports.all.size(), 1U);
}

TEST_F(ASessionConnector, LeavesProgressHandlerAndSessionAloneWhereTheNetworkIsNotReachable) {
    server.enqueue(HttpReply::json("{}"));
    auto connector = std::make_shared<RestConnector>(context);
    connector->startAsyncTask(
        pollPath, boost::json::object{}, [] { FAIL() << "progress is never reported"; }, reports.handler());
    ASSERT_TRUE(awaitReport());
    const auto session = connector->session();
    setReachable(false);
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    EXPECT_EQ(reports.all.at(1).status, 1U);
    EXPECT_EQ(connector->session(), session);
    EXPECT_TRUE(connector->progressHandler());
}

TEST_F(ASessionConnector, SendsNothingThatJsonCannotCarry) {
    const auto connector = post(boost::json::object{{"ToComputerID", "\xFF"}});
    ASSERT_EQ(reports.all.size(), 1U) << "it is reported before the call returns";
    EXPECT_EQ(reports.all[0].status, 4U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->domain, "JSON");
    EXPECT_EQ(log.entries(), Log{"Json String (null)"});
    EXPECT_EQ(connector->sessionTask(), nullptr);
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(reports.all.size(), 1U);
}

TEST_F(ASessionConnector, TreatsAnyHttpStatusAsSuccess) {
    for (const int status : {200, 404, 500, 401}) {
        reports.all.clear();
        server.enqueue(HttpReply::status(status, R"({"Message": "why"})"));
        post();
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U) << status;
        EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"Message": "why"})"));
    }
}

TEST_F(ASessionConnector, ReportsAResponseThatIsNotJson) {
    for (const auto* body : {"", "plain text", "<html></html>", "12"}) {
        reports.all.clear();
        log.clear();
        server.enqueue(HttpReply::ok(body));
        post();
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 5U) << body;
        ASSERT_NE(reports.all[0].result.error(), nullptr);
        EXPECT_EQ(reports.all[0].result.error()->domain, "JSON");
        EXPECT_EQ(reports.all[0].queue, Queue::main());
        EXPECT_EQ(log.entries(), (Log{"Json String {}", "response (null)"}));
    }
}

TEST_F(ASessionConnector, ReportsARefusedConnection) {
    server.stopListening();
    post();
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    const auto error = *reports.all[0].result.error();
    EXPECT_EQ(error.domain, "UrlLoading");
    EXPECT_EQ(error.code, -1004);
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    EXPECT_EQ(log.entries(), (Log{"Json String {}", "error code ...." + Platform::text(error), "network error"}));
    EXPECT_EQ(reports.all[0].logEntries, 2U) << "the last line comes after the report";
}

TEST_F(ASessionConnector, ReportsALostConnection) {
    server.enqueue(HttpReply::raw("").thenReset());
    post();
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1005);

    server.enqueue(HttpReply::json(R"({"ReturnStatus": "0"})").cutAfter(90).thenClose());
    post();
    ASSERT_TRUE(runUntil([&] { return reports.all.size() == 2; }));
    EXPECT_EQ(reports.all[1].status, 2U);
    EXPECT_EQ(reports.all[1].result.error()->code, -1005);
}

TEST_F(ASessionConnector, ReportsAPathThatFormsNoUrlAndSendsNothing) {
    const auto connector = post(boost::json::object{}, "Uploads.svc/Get Top");
    EXPECT_EQ(connector->getAbsoluteURL("Uploads.svc/Get Top"), std::nullopt);
    EXPECT_TRUE(reports.all.empty()) << "nothing but the session reports it";
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1000);
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    EXPECT_TRUE(everyRequest().empty());
}

/// The server sends the post on to an encrypted address of its own and then hangs up in the middle of the greeting.
TEST_F(ASessionConnector, ReportsAFailedTlsHandshake) {
    server.enqueue(HttpReply::status(307, "", {{"Location", "https://" + server.host() + "/"}}));
    post();
    ASSERT_TRUE(runUntil([&] { return server.unfinishedRequests() == 1; }));
    server.closeAll();
    ASSERT_TRUE(awaitReport());
    EXPECT_TRUE(everyRequest().size() == 1);
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1200);
    EXPECT_EQ(log.entries().back(), "network error");
}

TEST_F(ASessionConnector, KeepsARunningTaskRunningWhenPaused) {
    server.enqueue(HttpReply::silence());
    const auto connector = post();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    connector->pause();
    EXPECT_EQ(connector->sessionTask()->state(), Platform::UrlSessionTask::State::Running);
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 0U);
}

TEST_F(ASessionConnector, ResumesASuspendedTaskByPauseAsByResume) {
    for (const auto go : {&RestConnector::pause, &RestConnector::resume}) {
        reports.all.clear();
        server.enqueue(HttpReply::json("{}"));
        const auto connector = post();
        connector->sessionTask()->suspend();
        EXPECT_EQ(connector->sessionTask()->state(), Platform::UrlSessionTask::State::Suspended);
        (connector.get()->*go)();
        EXPECT_EQ(connector->sessionTask()->state(), Platform::UrlSessionTask::State::Running);
        ASSERT_TRUE(awaitReport());
        EXPECT_EQ(reports.all[0].status, 0U);
    }
}

TEST_F(ASessionConnector, ReportsThatItWasClosed) {
    server.enqueue(HttpReply::silence());
    const auto connector = post();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    connector->close();
    EXPECT_TRUE(reports.all.empty()) << "the end of the task reports it";
    ASSERT_TRUE(awaitReport());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -999);
    EXPECT_EQ(reports.all[0].queue, Queue::main());
    EXPECT_EQ(log.entries().back(), "network error");
    EXPECT_EQ(log.entries().size(), 3U);
}

TEST_F(ASessionConnector, CanBePausedResumedAndClosedWithoutATask) {
    const auto connector = std::make_shared<RestConnector>(context);
    connector->pause();
    connector->resume();
    connector->close();
    EXPECT_EQ(connector->sessionTask(), nullptr);
}

TEST_F(ASessionConnector, IsFreedOnceItsRequestHasEnded) {
    server.enqueue(HttpReply::silence());
    const std::weak_ptr<RestConnector> connector = post();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_FALSE(connector.expired()) << "the session keeps it";
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReport());
    ASSERT_TRUE(runUntil([&] { return connector.expired(); }));
}

TEST_F(ASessionConnector, KeepsTheSessionOfARequestThatCannotBeEncodedAndIsKeptByNone) {
    auto connector = post(boost::json::object{{"ToComputerID", "\xFF"}});
    const auto session = connector->session();
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->configuration().timeoutIntervalForResource, std::chrono::seconds(60));
    const std::weak_ptr<RestConnector> freed = connector;
    connector.reset();
    EXPECT_TRUE(freed.expired()) << "a session without a task keeps its delegate";
}

TEST_F(ASessionConnector, IsFreedWithTheSessionsThatItMadeForNoTask) {
    auto connector = std::make_shared<RestConnector>(context);
    connector->configSessionForData();
    connector->configSessionForUpload();
    connector->configSessionForDownload();
    const std::weak_ptr<RestConnector> freed = connector;
    const std::weak_ptr<Platform::UrlSession> session = connector->session();
    connector.reset();
    EXPECT_TRUE(freed.expired());
    EXPECT_TRUE(session.expired());
}

TEST_F(ASessionConnector, HasPropertiesThatCanBeSet) {
    server.enqueue(HttpReply::json("{}"));
    const auto connector = std::make_shared<RestConnector>(context);
    const auto session = Platform::UrlSession::sessionWithConfiguration({});
    connector->setSession(session);
    EXPECT_EQ(connector->session(), session);
    Platform::UrlRequest request;
    request.url = Platform::Url::fromString(server.url("/a"));
    bool ended = false;
    connector->setSessionTask(session->dataTaskWithRequest(request, [&](auto, auto, auto) { ended = true; }));
    connector->resume();
    EXPECT_EQ(connector->sessionTask()->state(), Platform::UrlSessionTask::State::Running);
    EXPECT_TRUE(runUntil([&] { return ended; }));
    int called = 0;
    connector->setProgressHandler([&] { ++called; });
    connector->progressHandler()();
    EXPECT_EQ(called, 1);
    connector->setSessionTask(nullptr);
    connector->setProgressHandler(nullptr);
    EXPECT_EQ(connector->sessionTask(), nullptr);
    EXPECT_FALSE(connector->progressHandler());
}

TEST_F(ASessionConnector, DoesNothingAboutChallengesAndProgress) {
    server.enqueue(HttpReply::json("{}"));
    const auto connector = post();
    connector->setProgressHandler([] { FAIL() << "progress is never reported"; });
    auto& session = *connector->session();
    auto& task = *connector->sessionTask();
    const auto response = [](Platform::ChallengeDisposition) { FAIL() << "no challenge is answered"; };
    connector->URLSessionDidReceiveChallenge(session, response);
    connector->URLSessionTaskDidReceiveChallenge(session, task, response);
    connector->URLSessionDownloadTaskDidWriteData(session, task, 1, 2, 3);
    connector->URLSessionDownloadTaskDidFinishDownloadingToURL(session, task, *Platform::Url::fromString("file:///a"));
    connector->URLSessionDownloadTaskDidResumeAtOffset(session, task, 1, 2);
    EXPECT_EQ(log.entries(), Log{"Json String {}"});
    EXPECT_TRUE(reports.all.empty());
    EXPECT_EQ(task.state(), Platform::UrlSessionTask::State::Running);
    ASSERT_TRUE(awaitReport());
}

TEST_F(ASessionConnector, LogsTheEndOfATaskThatHasNoHandler) {
    server.enqueue(HttpReply::status(404, "", {{"X-A", "1"}}));
    const auto connector = std::make_shared<RestConnector>(context);
    connector->configSessionForDownload();
    Platform::UrlRequest request;
    request.url = Platform::Url::fromString(server.url("/a"));
    connector->session()->dataTaskWithRequest(request)->resume();
    ASSERT_TRUE(runUntil([&] { return log.entries().size() == 2; }));
    EXPECT_EQ(log.entries()[0], "........." + server.url("/a") +
                                    " status 404, headers {\n    \"Content-Length\" = \"0\";\n    \"X-A\" = \"1\";\n}");
    EXPECT_EQ(log.entries()[1], "error ............(null)");
    EXPECT_EQ(log.priorityOf("error ............"), Platform::Log::Priority::Info);

    log.clear();
    server.stopListening();
    server.closeAll();
    connector->session()->dataTaskWithRequest(request)->resume();
    ASSERT_TRUE(runUntil([&] { return log.entries().size() == 2; }));
    EXPECT_EQ(log.entries()[0], ".........(null)");
    EXPECT_TRUE(log.entries()[1].starts_with("error ............Error Domain=UrlLoading Code=-1004 \""))
        << log.entries()[1];
    EXPECT_EQ(log.priorityOf("error ............"), Platform::Log::Priority::Warning);
}

} // namespace

} // namespace ServicesTests
