// When managed mode asks the web service: between idle passes, after an item, after failures, and when it is called.

#include "TopFileUploadXpcService/ManagedFixture.h"

namespace Quenmark {

class AManagedEngine : public ManagedFixture {};

TEST_P(AManagedEngine, AsksEveryTwoSecondsWhileThereIsNothing) {
    answerNothing();
    start();
    for (std::size_t poll = 1; poll < 5; ++poll) {
        ASSERT_TRUE(hasEnded(poll));
        expectPollAfter(2, poll + 1);
    }
}

TEST_P(AManagedEngine, AsksAtOnceAfterAnAcknowledgedItem) {
    answerNothing();
    enqueueItem(R"(\\a.txt)", "\\a.txt", "one");
    enqueueItem(R"(\\b.txt)", "\\b.txt", "two");
    start();
    ASSERT_TRUE(hasEnded(3)) << "without a move of the clock";
    EXPECT_EQ(contentOf(placed("a.txt")), "one");
    EXPECT_EQ(contentOf(placed("b.txt")), "two");
    expectPollAfter(2, 4);
}

TEST_P(AManagedEngine, WaitsLongerAfterEachFailureInARow) {
    server.setHandler([](const auto&) { return HttpReply::raw("").thenReset(); });
    start();
    std::size_t poll = 1;
    for (const double wait : {2, 4, 8, 16, 32, 64, 128, 256, 300, 300}) {
        ASSERT_TRUE(hasEnded(poll));
        EXPECT_EQ(countOfFailures("transport -1005", int(wait)), wait == 300 ? poll - 8 : 1U);
        expectPollAfter(wait, ++poll);
    }
}

TEST_P(AManagedEngine, CountsFailuresAnewAfterAPollThatFoundNothing) {
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    server.enqueue(pollTarget, HttpReply::json(nothing));
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    answerNothing();
    start();
    expectFailures(2);
    ASSERT_TRUE(hasEnded(3));
    expectPollAfter(2, 4);
    ASSERT_TRUE(hasEnded(4));
    expectPollAfter(2, 5);
}

TEST_P(AManagedEngine, CountsFailuresAnewAfterAnAcknowledgedItem) {
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    enqueueItem(R"(\\a.txt)", "\\a.txt", "one");
    server.enqueue(pollTarget, HttpReply::raw("").thenReset());
    answerNothing();
    start();
    ASSERT_TRUE(hasEnded(1));
    expectPollAfter(2, 2);
    ASSERT_TRUE(hasEnded(3));
    expectPollAfter(2, 4);
}

TEST_P(AManagedEngine, AsksAtOnceWhenItIsCalledDuringAWait) {
    server.setHandler([](const auto&) { return HttpReply::raw("").thenReset(); });
    start();
    for (std::size_t poll = 1; poll < 5; ++poll) {
        ASSERT_TRUE(hasEnded(poll));
        start();
        ASSERT_TRUE(waitFor(pollTarget, poll + 1));
    }
    ASSERT_TRUE(hasEnded(5));
    EXPECT_TRUE(hasFailed("transport -1005", 32)) << "a call is no success";
    expectPollAfter(32, 6);
}

TEST_P(AManagedEngine, AsksOnceMoreWhenItIsCalledDuringAnAttempt) {
    server.enqueue(pollTarget, HttpReply::silence());
    answerNothing();
    start();
    ASSERT_TRUE(waitFor(pollTarget));
    start();
    start();
    server.send(last(pollTarget).connection, HttpReply::json(nothing).bytes());
    ASSERT_TRUE(hasEnded(2)) << "one poll, without a move of the clock";
    expectPollAfter(2, 3);
}

TEST_P(AManagedEngine, HasOneChainOfPassesHoweverOftenItIsCalled) {
    answerNothing();
    for (int call = 0; call < 10; ++call)
        start();
    ASSERT_TRUE(runUntil([&] { return count(pollTarget) == 2 && probe().gateIsOpen(); }));
    expectPollAfter(2, 3);
    ASSERT_TRUE(hasEnded(3));
    expectPollAfter(2, 4);
}

TEST_P(AManagedEngine, LooksForTheNetworkEveryTwoSecondsAndSendsNothingWithoutIt) {
    answerNothing();
    flags = 0;
    start();
    for (std::size_t passes = 1; passes < 4; ++passes) {
        EXPECT_EQ(log.count("connection not availble........"), passes);
        pass(2);
    }
    EXPECT_EQ(server.requests().size(), 0U);
    flags = 0x2;
    pass(2);
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_P(AManagedEngine, AsksAsSoonAsTheIdentifierOfTheComputerIsSet) {
    answerNothing();
    setPreferences("{}");
    start();
    pass(2);
    EXPECT_EQ(count(pollTarget), 0U);
    setPreferences(usualPreferences());
    pass(2);
    EXPECT_TRUE(waitFor(pollTarget));
}

TEST_P(AManagedEngine, AsksSoonAfterASuspend) {
    server.setHandler([](const auto&) { return HttpReply::raw("").thenReset(); });
    start();
    for (std::size_t poll = 1; poll < 6; ++poll) {
        ASSERT_TRUE(hasEnded(poll));
        start();
        ASSERT_TRUE(waitFor(pollTarget, poll + 1));
    }
    ASSERT_TRUE(hasEnded(6)) << "a wait of 64 seconds";
    pass(1);
    EXPECT_EQ(questions(), 6U);
    clock.suspend(std::chrono::seconds(20));
    pass(1);
    EXPECT_EQ(questions(), 7U);
    EXPECT_TRUE(waitFor(pollTarget, 7));
}

TEST_P(AManagedEngine, GoesOnAfterAnyResponseOfAPoll) {
    const std::vector<HttpReply> replies = {HttpReply::json("[]"),
                                            HttpReply::json("{}"),
                                            HttpReply::json(R"({"ReturnStatus":null})"),
                                            HttpReply::json(R"({"ReturnStatus":[0]})"),
                                            HttpReply::ok("no JSON"),
                                            HttpReply::ok(""),
                                            HttpReply::status(500, "error"),
                                            HttpReply::raw("no HTTP\r\n\r\n").thenClose()};
    for (const auto& reply : replies)
        server.enqueue(pollTarget, reply);
    answerNothing();
    start();
    double wait = 2;
    for (std::size_t poll = 1; poll <= replies.size(); ++poll, wait = std::min(wait * 2, 300.0)) {
        ASSERT_TRUE(hasEnded(poll)) << replies[poll - 1].bytes();
        expectPollAfter(wait, poll + 1);
    }
    ASSERT_TRUE(hasEnded(replies.size() + 1));
    expectPollAfter(2, replies.size() + 2);
}

INSTANTIATE_TEST_SUITE_P(Transports, AManagedEngine, ::testing::Values(release10_10, release10_7), transportName);

TEST(TheWaitAfterFailures, DoublesUpToThreeHundredSecondsWithATenthOfJitter) {
    const auto seconds = [](int count, double jitter) {
        return std::chrono::duration<double>(ManagedPolicy::waitAfterFailures(count, jitter)).count();
    };
    EXPECT_DOUBLE_EQ(seconds(1, 0), 2);
    EXPECT_DOUBLE_EQ(seconds(2, 0), 4);
    EXPECT_DOUBLE_EQ(seconds(8, 0), 256);
    EXPECT_DOUBLE_EQ(seconds(9, 0), 300);
    EXPECT_DOUBLE_EQ(seconds(1'000'000'000, 0), 300);
    EXPECT_DOUBLE_EQ(seconds(1, 1), 2.2);
    EXPECT_DOUBLE_EQ(seconds(3, -1), 7.2);
    EXPECT_DOUBLE_EQ(seconds(9, -1), 270);
    EXPECT_DOUBLE_EQ(seconds(9, 1), 300);
}

TEST(TheWaitAfterFailures, HasAJitterThatIsAnywhereBetweenItsLimits) {
    const auto jitter = ManagedPolicy::randomJitter();
    double least = 0;
    double most = 0;
    for (int count = 0; count < 1000; ++count) {
        const double value = jitter();
        least = std::min(least, value);
        most = std::max(most, value);
    }
    EXPECT_GE(least, -1);
    EXPECT_LT(least, -0.9);
    EXPECT_GT(most, 0.9);
    EXPECT_LE(most, 1);
}

} // namespace Quenmark
