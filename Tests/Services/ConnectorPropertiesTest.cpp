// What a session connector keeps of its calls, and what it does with it.

#include "ConnectorReports.h"
#include "ServiceFixture.h"
#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ServicesTests {

namespace {

using Quenmark::RestConnector;
using TestSupport::HttpReply;

/// Notes the descriptions of the tasks that are challenged, which are its own tasks.
class ChallengedConnector : public RestConnector {
public:
    using RestConnector::RestConnector;

    void URLSessionTaskDidReceiveChallenge(Platform::UrlSession&, Platform::UrlSessionTask& task,
                                           Platform::ChallengeHandler) override {
        descriptions.push_back(task.taskDescription());
    }
    std::vector<std::string> descriptions;
};

class AConnectorsCall : public ServiceFixture {
protected:
    boost::json::object fileParams() {
        std::string file = folder.write("report.txt", "content").substr(1);
        std::replace(file.begin(), file.end(), '/', '\\');
        return {{"FilePath", file}, {"FileRequestID", "601"}, {"TransitDownloadPath", "t"}};
    }

    TestSupport::TemporaryDirectory folder;
    Reports<boost::json::value> reports{log};
};

TEST_F(AConnectorsCall, StoresItsProgressHandlerAndNeverCallsIt) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    int handlers = 0;
    int finished = 0;
    const auto expectStored = [&](auto& connector, const auto& start) {
        int called = 0;
        start([&called] { ++called; });
        ASSERT_TRUE(connector->progressHandler());
        EXPECT_EQ(called, 0);
        // It is the one that was given.
        connector->progressHandler()();
        EXPECT_EQ(called, 1);
        ASSERT_TRUE(runUntil([&] { return finished == handlers; }));
        EXPECT_EQ(called, 1);
    };
    const auto connector = std::make_shared<RestConnector>(context);
    const auto older = std::make_shared<Quenmark::RestConnector_Old>(context);
    const auto finish = [&finished](const auto&...) { ++finished; };
    ++handlers;
    expectStored(connector, [&](auto progress) { connector->startAsyncTask(pollPath, {}, progress, finish); });
    ++handlers;
    expectStored(connector, [&](auto progress) {
        connector->startAsyncDownloadWithStreamRequest(pollPath, {}, progress, finish);
    });
    ++handlers;
    expectStored(connector, [&](auto progress) {
        connector->startAsyncUploadWithStreamRequest(pollPath, fileParams(), progress, finish);
    });
    ++handlers;
    expectStored(connector, [&](auto progress) { connector->startAsyncDownload(server.url("/a"), progress, finish); });
    expectStored(connector, [&](auto progress) { connector->startAsyncUpload(pollPath, {}, progress, finish); });
    ++handlers;
    expectStored(older, [&](auto progress) { older->startAsyncTask(pollPath, {}, progress, finish); });
    EXPECT_EQ(finished, 5);
}

TEST_F(AConnectorsCall, DescribesTheTaskOfAnUploadByTheFilesName) {
    server.enqueue(HttpReply::status(401, "", {{"WWW-Authenticate", "Basic realm=\"x\""}}));
    const auto connector = std::make_shared<ChallengedConnector>(context);
    connector->startAsyncUploadWithStreamRequest(pollPath, fileParams(), nullptr, reports.handler());
    ASSERT_TRUE(runUntil([&] { return !connector->descriptions.empty(); }));
    EXPECT_EQ(connector->descriptions, std::vector<std::string>{"report.txt"});
    // The task waits for good; the server ends it.
    server.closeAll();
}

TEST_F(AConnectorsCall, LeavesTheTaskInPlaceWhenItIsClosed) {
    server.enqueue(HttpReply::silence());
    const auto connector = std::make_shared<RestConnector>(context);
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    const auto task = connector->sessionTask();
    connector->close();
    EXPECT_EQ(connector->sessionTask(), task);
    EXPECT_EQ(task->state(), Platform::UrlSessionTask::State::Canceling);
    ASSERT_TRUE(runUntil([&] { return !reports.all.empty(); }));
    EXPECT_EQ(connector->sessionTask(), task);
    connector->close();
    EXPECT_EQ(task->state(), Platform::UrlSessionTask::State::Completed);
}

TEST_F(AConnectorsCall, ReplacesSessionAndTaskOfTheFirstWithoutCancellingIt) {
    server.enqueue(HttpReply::silence());
    server.enqueue(HttpReply::json(R"({"response": 2})"));
    const auto connector = std::make_shared<RestConnector>(context);
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    const auto session = connector->session();
    const auto task = connector->sessionTask();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    EXPECT_NE(connector->session(), session);
    EXPECT_NE(connector->sessionTask(), task);
    ASSERT_TRUE(runUntil([&] { return reports.all.size() == 1; }));
    EXPECT_EQ(task->state(), Platform::UrlSessionTask::State::Running);
    server.send(0, HttpReply::json(R"({"response": 1})").bytes());
    ASSERT_TRUE(runUntil([&] { return reports.all.size() == 2; }));
    for (const auto& report : reports.all)
        ASSERT_EQ(report.status, 0U);
    EXPECT_EQ(reports.all[0].result.value()->at("response"), 2);
    EXPECT_EQ(reports.all[1].result.value()->at("response"), 1);
}

} // namespace

} // namespace ServicesTests
