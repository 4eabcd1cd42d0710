// The legacy connector's JSON post against a real server: statuses, queue, log, wire.

#include "Services/RestConnector_Old.h"

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
using Quenmark::RestConnector_Old;
using TestSupport::HttpReply;
using Log = std::vector<std::string>;

class ALegacyConnector : public ServiceFixture {
protected:
    std::shared_ptr<RestConnector_Old> post(const boost::json::value& params = boost::json::object{},
                                            const char* task = pollPath) {
        auto connector = std::make_shared<RestConnector_Old>(context);
        connector->startAsyncTask(task, params, nullptr, reports.handler());
        return connector;
    }
    [[nodiscard]] bool awaitReports(std::size_t count = 1) {
        return runUntil([&] { return reports.all.size() >= count; });
    }

    Reports<boost::json::value> reports{log};
};

TEST_F(ALegacyConnector, ReportsADecodedResponseOnAQueueOfItsOwn) {
    server.enqueue(HttpReply::json(R"({"ReturnStatus": "0"})"));
    const auto connector = post(boost::json::object{{"ToComputerID", "91"}});
    EXPECT_TRUE(reports.all.empty());
    ASSERT_TRUE(awaitReports());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"ReturnStatus": "0"})"));
    EXPECT_EQ(reports.all[0].queue, connector->operationQueue());
    EXPECT_NE(reports.all[0].queue, Queue::main());
    EXPECT_EQ(log.entries(),
              (Log{"Json String {\n  \"ToComputerID\" : \"91\"\n}", "response {\n    \"ReturnStatus\" = \"0\";\n}"}));
}

TEST_F(ALegacyConnector, SendsExactlyTheseBytes) {
    server.enqueue(HttpReply::json("{}"));
    post(boost::json::object{{"ToComputerID", "91"}});
    ASSERT_TRUE(awaitReports());
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

TEST_F(ALegacyConnector, HasAnotherQueueThanTheOneBesideIt) {
    server.enqueue(HttpReply::json("{}"));
    server.enqueue(HttpReply::json("{}"));
    const auto one = post();
    const auto other = post();
    ASSERT_TRUE(one->operationQueue() && other->operationQueue());
    EXPECT_NE(one->operationQueue(), other->operationQueue());
    ASSERT_TRUE(awaitReports(2));
    EXPECT_NE(reports.all[0].queue, reports.all[1].queue);
}

TEST_F(ALegacyConnector, MakesANewQueueForEachRequestAndLeavesTheFirstRunning) {
    server.enqueue(HttpReply::silence());
    const auto connector = post();
    const auto first = connector->operationQueue();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    server.enqueue(HttpReply::json("{}"));
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    ASSERT_TRUE(awaitReports(1));
    EXPECT_NE(connector->operationQueue(), first);
    EXPECT_EQ(reports.all[0].queue, connector->operationQueue());
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReports(2));
    EXPECT_EQ(reports.all[1].queue, first);
}

TEST_F(ALegacyConnector, SendsNothingWhereTheNetworkIsNotReachable) {
    setReachable(false);
    const auto connector = post();
    ASSERT_EQ(reports.all.size(), 1U) << "it is reported before the call returns";
    EXPECT_EQ(reports.all[0].status, 1U);
    EXPECT_TRUE(reports.all[0].result.isNil());
    EXPECT_EQ(connector->operationQueue(), std::nullopt);
    EXPECT_FALSE(connector->progressHandler());
    EXPECT_TRUE(log.entries().empty());
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(reports.all.size(), 1U);
}

TEST_F(ALegacyConnector, SendsNothingThatJsonCannotCarry) {
    const auto connector = post(boost::json::object{{"ToComputerID", "\xFF"}});
    ASSERT_EQ(reports.all.size(), 1U) << "it is reported before the call returns";
    EXPECT_EQ(reports.all[0].status, 4U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    EXPECT_EQ(reports.all[0].result.error()->domain, "JSON");
    EXPECT_EQ(connector->operationQueue(), std::nullopt);
    EXPECT_EQ(log.entries(), Log{"Json String (null)"});
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ALegacyConnector, TreatsAnyHttpStatusAsSuccess) {
    for (const int status : {200, 404, 500}) {
        reports.all.clear();
        server.enqueue(HttpReply::status(status, R"({"Message": "why"})"));
        post();
        ASSERT_TRUE(awaitReports());
        EXPECT_EQ(reports.all[0].status, 0U) << status;
        EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"Message": "why"})"));
    }
}

TEST_F(ALegacyConnector, TreatsAnAuthenticationChallengeAsTheResponse) {
    server.enqueue(HttpReply::status(401, R"({"Message": "who"})", {{"WWW-Authenticate", "Basic realm=\"x\""}}));
    post();
    ASSERT_TRUE(awaitReports());
    EXPECT_EQ(reports.all[0].status, 0U);
    EXPECT_EQ(*reports.all[0].result.value(), boost::json::parse(R"({"Message": "who"})"));
}

TEST_F(ALegacyConnector, ReportsAResponseThatIsNotJson) {
    for (const auto* body : {"", "plain text", "12"}) {
        reports.all.clear();
        log.clear();
        server.enqueue(HttpReply::ok(body));
        const auto connector = post();
        ASSERT_TRUE(awaitReports());
        EXPECT_EQ(reports.all[0].status, 5U) << body;
        EXPECT_EQ(reports.all[0].result.error()->domain, "JSON");
        EXPECT_EQ(reports.all[0].queue, connector->operationQueue());
        EXPECT_EQ(log.entries(), (Log{"Json String {}", "response (null)"}));
    }
}

TEST_F(ALegacyConnector, ReportsATransportErrorOnItsQueueBeforeTheLastLine) {
    server.stopListening();
    const auto connector = post();
    ASSERT_TRUE(awaitReports());
    EXPECT_EQ(reports.all[0].status, 2U);
    ASSERT_NE(reports.all[0].result.error(), nullptr);
    const auto error = *reports.all[0].result.error();
    EXPECT_EQ(error.code, -1004);
    EXPECT_EQ(reports.all[0].queue, connector->operationQueue());
    EXPECT_EQ(log.entries(), (Log{"Json String {}", "error code ...." + Platform::text(error), "network error"}));
    EXPECT_EQ(reports.all[0].logEntries, 2U);
}

TEST_F(ALegacyConnector, ReportsAPathThatFormsNoUrlAndSendsNothing) {
    const auto connector = post(boost::json::object{}, "Uploads.svc/Get Top");
    EXPECT_EQ(connector->getAbsoluteURL("Uploads.svc/Get Top"), std::nullopt);
    ASSERT_TRUE(awaitReports());
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1000);
    EXPECT_TRUE(everyRequest().empty());
}

TEST_F(ALegacyConnector, ReportsAFailedTlsHandshake) {
    server.enqueue(HttpReply::status(307, "", {{"Location", "https://" + server.host() + "/"}}));
    post();
    ASSERT_TRUE(runUntil([&] { return server.unfinishedRequests() == 1; }));
    server.closeAll();
    ASSERT_TRUE(awaitReports());
    EXPECT_EQ(everyRequest().size(), 1U);
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -1200);
    ASSERT_TRUE(runUntil([&] { return log.entries().size() >= 3; }));
    EXPECT_EQ(log.entries().back(), "network error");
}

TEST_F(ALegacyConnector, HasPropertiesThatCanBeSet) {
    RestConnector_Old connector;
    connector.setOperationQueue(Queue::serial("another"));
    EXPECT_EQ(connector.operationQueue().value().label(), "another");
    int called = 0;
    connector.setProgressHandler([&] { ++called; });
    connector.progressHandler()();
    EXPECT_EQ(called, 1);
}

TEST_F(ALegacyConnector, IsKeptByItsRequestAndFreedWithIt) {
    server.enqueue(HttpReply::silence());
    const std::weak_ptr<RestConnector_Old> connector = post();
    ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    EXPECT_FALSE(connector.expired());
    server.send(0, HttpReply::json("{}").bytes());
    ASSERT_TRUE(awaitReports());
    ASSERT_TRUE(runUntil([&] { return connector.expired(); }));
}

} // namespace

} // namespace ServicesTests
