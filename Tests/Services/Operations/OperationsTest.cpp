// Every operation whose response is a record, on both transports: the exact path, the exact body, the exact record.

#include "OperationCase.h"
#include "ServiceFixture.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <tuple>

namespace ServicesTests {

namespace {

using TestSupport::HttpReply;

std::vector<OperationCase> everyOperation() {
    std::vector<OperationCase> all;
    for (const auto& area : {registrationOperations(), uploadOperations(), downloadOperations(),
                             synchronisationOperations(), sharingOperations(), sharingStreamOperations()})
        std::copy(area.begin(), area.end(), std::back_inserter(all));
    return all;
}

class AnOperation : public ServiceFixture, public ::testing::WithParamInterface<std::tuple<OperationCase, double>> {};

TEST_P(AnOperation, PostsItsExactBodyToItsPathAndReportsItsExactRecord) {
    const auto& [operation, release] = GetParam();
    setRelease(release);
    server.enqueue(HttpReply::json(operation.response));

    Outcome outcome;
    operation.call(outcome, context);
    EXPECT_EQ(outcome.calls, 0) << "the handler ran before the call returned";
    ASSERT_TRUE(runUntil([&] { return outcome.calls > 0; }));

    const auto requests = everyRequest();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].target, "/QuenmarkRestService/" + operation.path);
    EXPECT_EQ(requests[0].body, operation.body);
    EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
    EXPECT_EQ(requests[0].header("Content-Length"), std::to_string(operation.body.size()));

    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.isExpectedRecord) << outcome.record;
    EXPECT_EQ(outcome.record, operation.recordProperties);
    EXPECT_EQ(operation.query, operation.queryProperties);
    const bool onMainQueue = outcome.queue == Platform::Queue::main();
    EXPECT_EQ(onMainQueue, release == release10_10) << outcome.queue->label();
}

TEST_P(AnOperation, ReportsARecordOfNilsForAResponseThatLacksEveryKey) {
    const auto& [operation, release] = GetParam();
    setRelease(release);
    const bool responsesWithAList = operation.recordProperties.is_array();
    server.enqueue(HttpReply::json(responsesWithAList ? "[{}]" : "{}"));

    Outcome outcome;
    operation.call(outcome, context);
    ASSERT_TRUE(runUntil([&] { return outcome.calls > 0; }));

    EXPECT_EQ(outcome.status, 0);
    if (operation.name == "asyncGetSharedFilesTransferData")
        EXPECT_EQ(outcome.record, json(R"({"fileToTransferArray": [], "OwnerComputersArray": [],
                                           "RecFileFromTransferArray": [], "SharedfoldersWithStatusArray": []})"));
    else
        EXPECT_EQ(outcome.record, json(responsesWithAList ? "[{}]" : "{}"));
}

TEST_P(AnOperation, ReportsAtOnceThatTheNetworkIsNotReachableAndSendsNothing) {
    const auto& [operation, release] = GetParam();
    setRelease(release);
    setReachable(false);

    Outcome outcome;
    operation.call(outcome, context);
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.isNil);
    EXPECT_TRUE(everyRequest().empty());
    EXPECT_EQ(outcome.calls, 1);
}

TEST_P(AnOperation, ReportsTheErrorsOfTheTransferAndOfTheDecoder) {
    const auto& [operation, release] = GetParam();
    setRelease(release);
    server.enqueue(HttpReply::ok("not JSON"));
    Outcome undecoded;
    operation.call(undecoded, context);
    ASSERT_TRUE(runUntil([&] { return undecoded.calls > 0; }));
    EXPECT_EQ(undecoded.status, 5);
    EXPECT_EQ(undecoded.errorCode, 3840);

    server.enqueue(HttpReply::json("{}").cutAfter(20).thenClose());
    Outcome lost;
    operation.call(lost, context);
    ASSERT_TRUE(runUntil([&] { return lost.calls > 0; }));
    EXPECT_EQ(lost.status, 2);
    EXPECT_EQ(lost.errorCode, -1005);
    EXPECT_EQ(lost.queue == Platform::Queue::main(), release == release10_10);
}

std::string operationCaseName(const ::testing::TestParamInfo<std::tuple<OperationCase, double>>& test) {
    const bool session = std::get<double>(test.param) == release10_10;
    return std::get<OperationCase>(test.param).name + (session ? "OnTheSession" : "OnTheConnection");
}

INSTANTIATE_TEST_SUITE_P(Of, AnOperation,
                         ::testing::Combine(::testing::ValuesIn(everyOperation()),
                                            ::testing::Values(release10_10, release10_7)),
                         operationCaseName);

TEST(TheOperationsWithRecords, AreThirtyFourOfTheThirtyNine) {
    std::set<std::string> names;
    std::set<std::string> paths;
    for (const auto& operation : everyOperation()) {
        names.insert(operation.name);
        paths.insert(operation.path);
    }
    EXPECT_EQ(names.size(), 34U);
    EXPECT_EQ(paths.size(), 34U);
}

} // namespace

} // namespace ServicesTests
