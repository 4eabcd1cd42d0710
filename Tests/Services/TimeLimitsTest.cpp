// How long the connectors wait, on a clock that the test moves.

#include "ConnectorReports.h"
#include "ServiceFixture.h"
#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace ServicesTests {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using TestSupport::HttpReply;

template <class Connector>
class AWaitingConnector : public ManualTimeFixture {
protected:
    /// Posts, and waits until the server has the request.
    void post() {
        std::make_shared<Connector>(context)->startAsyncTask(pollPath, boost::json::object{}, nullptr,
                                                             reports.handler());
        ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    }
    /// Whether a report has come, after whatever was sent has arrived.
    bool isReported() {
        EXPECT_EQ(everyRequest().size(), 1U);
        return !reports.all.empty();
    }
    /// That a response of 7 bytes whose first has come may come over minutes, one byte after the other.
    void expectPatience() {
        for (int piece = 0; piece < 5; ++piece) {
            clock.advance(seconds(40));
            server.send(0, " ");
            EXPECT_FALSE(isReported());
        }
        server.send(0, "}");
        ASSERT_TRUE(runUntil([&] { return !reports.all.empty(); }));
        EXPECT_EQ(reports.all[0].status, 0U);
    }
    void expectTimeOut() {
        ASSERT_TRUE(runUntil([&] { return !reports.all.empty(); }));
        EXPECT_EQ(reports.all[0].status, 2U);
        ASSERT_NE(reports.all[0].result.error(), nullptr);
        EXPECT_EQ(reports.all[0].result.error()->code, -1001);
    }

    Reports<boost::json::value> reports{log};
};

using Connectors = ::testing::Types<Quenmark::RestConnector, Quenmark::RestConnector_Old>;
TYPED_TEST_SUITE(AWaitingConnector, Connectors);

TYPED_TEST(AWaitingConnector, GivesUpASilentServerAfterSixtySeconds) {
    this->server.enqueue(HttpReply::silence());
    this->post();
    this->clock.advance(milliseconds(59'900));
    EXPECT_FALSE(this->isReported());
    this->clock.advance(milliseconds(200));
    this->expectTimeOut();
}

using AWaitingSessionConnector = AWaitingConnector<Quenmark::RestConnector>;
using AWaitingLegacyConnector = AWaitingConnector<Quenmark::RestConnector_Old>;

TEST_F(AWaitingSessionConnector, GivesUpASlowServerAfterSixtySecondsAltogether) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n{"));
    post();
    clock.advance(seconds(40));
    EXPECT_FALSE(isReported());
    server.send(0, " ");
    EXPECT_FALSE(isReported());
    clock.advance(seconds(21));
    expectTimeOut();
}

/// An upload, which has the request's time limit alone.
class AWaitingUpload : public AWaitingSessionConnector {
protected:
    void upload() {
        std::string file = folder.write("report.txt", "content").substr(1);
        std::replace(file.begin(), file.end(), '/', '\\');
        std::make_shared<Quenmark::RestConnector>(context)->startAsyncUploadWithStreamRequest(
            pollPath, {{"FilePath", file}, {"FileRequestID", "601"}, {"TransitDownloadPath", "t"}}, nullptr,
            reports.handler());
        ASSERT_TRUE(runUntil([&] { return server.requests().size() == 1; }));
    }

    TestSupport::TemporaryDirectory folder;
};

TEST_F(AWaitingUpload, GivesUpASilentServerAfterSixtySeconds) {
    server.enqueue(HttpReply::silence());
    upload();
    clock.advance(milliseconds(59'900));
    EXPECT_FALSE(isReported());
    clock.advance(milliseconds(200));
    expectTimeOut();
}

TEST_F(AWaitingUpload, WaitsForASlowServerAsLongAsItMakesProgress) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n{"));
    upload();
    expectPatience();
}

TEST_F(AWaitingLegacyConnector, WaitsForASlowServerAsLongAsItMakesProgress) {
    server.enqueue(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n{"));
    post();
    expectPatience();
}

TEST_F(AWaitingSessionConnector, LeavesAChallengeUnansweredUntilTheTimeOut) {
    server.enqueue(HttpReply::status(401, R"({"Message": "who"})", {{"WWW-Authenticate", "Basic realm=\"x\""}}));
    post();
    EXPECT_FALSE(isReported());
    clock.advance(milliseconds(59'900));
    EXPECT_FALSE(isReported());
    clock.advance(milliseconds(200));
    expectTimeOut();
}

TEST_F(AWaitingSessionConnector, CanBeClosedWhileAChallengeWaits) {
    server.enqueue(HttpReply::status(401, "{}", {{"WWW-Authenticate", "Basic realm=\"x\""}}));
    const auto connector = std::make_shared<Quenmark::RestConnector>(context);
    connector->startAsyncTask(pollPath, boost::json::object{}, nullptr, reports.handler());
    EXPECT_FALSE(isReported());
    connector->close();
    ASSERT_TRUE(runUntil([&] { return !reports.all.empty(); }));
    EXPECT_EQ(reports.all[0].status, 2U);
    EXPECT_EQ(reports.all[0].result.error()->code, -999);
}

} // namespace

} // namespace ServicesTests
