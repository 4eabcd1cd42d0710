// What managed mode does not do twice: the bytes that are there are not fetched again where they are the item's own,
// and an item in its place is acknowledged again without a download.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/ManagedFixture.h"

#include <cstdio>
#include <fstream>

namespace Quenmark {

namespace Files = Platform::Files;

class ABegunItem : public ManagedFixture {
protected:
    ABegunItem() { answerNothing(); }

    /// Gets the first `partial` bytes of the item "\a.txt", whose content is "0123456789", and loses the connection.
    void leavePartial(std::size_t partial) {
        offer(R"(\\a.txt)");
        const auto whole = HttpReply::ok("0123456789", fieldsOf("\\a.txt"));
        server.enqueue(streamTarget, whole.cutAfter(whole.bytes().size() - 10 + partial).thenClose());
        start();
        ASSERT_TRUE(waitForFailure("transport -1005"));
    }
};

TEST_P(ABegunItem, ContinuesAfterALostConnection) {
    leavePartial(4);
    offer(R"(\\a.txt)");
    stream("\\a.txt", "456789");
    confirm();
    pass(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(offsetOf(1), "4");
    EXPECT_EQ(contentOf(placed("a.txt")), "0123456789");
    EXPECT_EQ(records(), std::vector<std::string>{});
}

TEST_P(ABegunItem, ContinuesAfterAStartOfTheService) {
    leavePartial(4);
    restart();
    offer(R"(\\a.txt)");
    stream("\\a.txt", "456789");
    confirm();
    start();
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(offsetOf(1), "4");
    EXPECT_EQ(contentOf(placed("a.txt")), "0123456789");
}

TEST_P(ABegunItem, DoesNotContinueThePartialFileOfAnotherItem) {
    leavePartial(4);
    server.enqueue(pollTarget, HttpReply::json(R"({"FileName":"\\a.txt","FileUploadID":"99","IsFile":"True",)"
                                               R"("ReturnStatus":"0"})"));
    server.enqueue(streamTarget, HttpReply::ok("another", fieldsOf("\\a.txt", "99")));
    confirm();
    pass(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(offsetOf(1), "0");
    EXPECT_EQ(contentOf(placed("a.txt")), "another");
}

TEST_P(ABegunItem, DoesNotContinueAPartialFileThatNamesNoItem) {
    writeFile(temporary("a.txt"), "from somewhere");
    enqueueItem(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(offsetOf(0), "0");
    EXPECT_EQ(contentOf(placed("a.txt")), "new");
}

TEST_P(ABegunItem, DoesNotContinueAFileThatTookThePlaceOfItsPartialFile) {
    leavePartial(4);
    writeFile(temporary("other"), "0123");
    ASSERT_EQ(::rename(temporary("other").c_str(), temporary("a.txt").c_str()), 0);
    offer(R"(\\a.txt)");
    stream("\\a.txt", "0123456789");
    confirm();
    pass(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(offsetOf(1), "0");
    EXPECT_EQ(contentOf(placed("a.txt")), "0123456789");
}

TEST_P(ABegunItem, StartsAnewWhereItHasAnotherSizeNow) {
    leavePartial(4);
    offer(R"(\\a.txt)");
    stream("\\a.txt", "45");
    offer(R"(\\a.txt)");
    stream("\\a.txt", "012345");
    confirm();
    pass(2);
    ASSERT_TRUE(waitForFailure("bad response"));
    EXPECT_FALSE(Files::exists(temporary("a.txt")));
    pass(2);
    pass(2);
    ASSERT_TRUE(hasEnded(4));
    EXPECT_EQ(offsetOf(2), "0");
    EXPECT_EQ(contentOf(placed("a.txt")), "012345");
}

TEST_P(ABegunItem, GivesAPartialFileUpThatTheServerRefusesThreeTimes) {
    leavePartial(4);
    for (int time = 0; time < 3; ++time) {
        offer(R"(\\a.txt)");
        server.enqueue(streamTarget, HttpReply::ok("", {{"ReturnStatus", "2"}}));
    }
    offer(R"(\\a.txt)");
    stream("\\a.txt", "0123456789");
    confirm();
    expectFailures(4);
    ASSERT_TRUE(hasEnded(6));
    EXPECT_EQ(offsetOf(3), "4");
    EXPECT_EQ(offsetOf(4), "0");
    EXPECT_EQ(contentOf(placed("a.txt")), "0123456789");
}

TEST_P(ABegunItem, IsAcknowledgedAgainWithoutADownloadWhereTheAcknowledgementWasLost) {
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    server.enqueue(acknowledgeTarget, HttpReply::raw("").thenReset());
    offer(R"(\\a.txt)");
    server.enqueue(acknowledgeTarget, HttpReply::json("[]"));
    offer(R"(\\a.txt)");
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":"5"})"));
    offer(R"(\\a.txt)");
    confirm();
    start();
    ASSERT_TRUE(waitForFailure("acknowledgement failed"));
    EXPECT_EQ(contentOf(placed("a.txt")), "content");
    expectPollAfter(2, 2);
    ASSERT_TRUE(hasEnded(2));
    expectPollAfter(4, 3);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_TRUE(hasFailed("acknowledgement refused 5", 8));
    expectPollAfter(8, 4);
    ASSERT_TRUE(hasEnded(5));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 4U);
    EXPECT_EQ(records(), std::vector<std::string>{});
}

TEST_P(ABegunItem, IsAcknowledgedAgainAfterAStartOfTheService) {
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    server.enqueue(acknowledgeTarget, HttpReply::raw("").thenReset());
    start();
    ASSERT_TRUE(waitForFailure("acknowledgement failed"));
    restart();
    offer(R"(\\a.txt)");
    confirm();
    start();
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 2U);
}

TEST_P(ABegunItem, IsFetchedAgainWhereItIsNotWhatWasPlacedAnyMore) {
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    server.enqueue(acknowledgeTarget, HttpReply::raw("").thenReset());
    start();
    ASSERT_TRUE(waitForFailure("acknowledgement failed"));
    std::ofstream(placed("a.txt"), std::ios::app) << "x";
    enqueueItem(R"(\\a.txt)", "\\a.txt", "content");
    pass(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(count(streamTarget), 2U);
    EXPECT_EQ(contentOf(placed("a.txt")), "content");
}

INSTANTIATE_TEST_SUITE_P(Transports, ABegunItem, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
