// The bounds of what the console keeps of requests.

#include "WebService/Console/RequestJournal.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

JournalEntry entryOf(RequestJournal& journal, std::size_t header, std::size_t body) {
    JournalEntry entry;
    EXPECT_TRUE(journal.reserve(header + body));
    entry.request.header.assign(header, 'h');
    entry.request.body.assign(body, 'b');
    entry.request.size = body;
    return entry;
}

constexpr std::size_t mebibyte = 1 << 20;

} // namespace

TEST(TheJournal, HasTheLastThousandRequests) {
    RequestJournal journal;
    for (int i = 0; i < 1001; ++i)
        journal.add(entryOf(journal, 1, 2));
    EXPECT_EQ(journal.find(1), nullptr);
    ASSERT_NE(journal.find(2), nullptr);
    ASSERT_NE(journal.find(1001), nullptr);
    EXPECT_EQ(journal.find(1002), nullptr);
    EXPECT_EQ(journal.find(0), nullptr);
    EXPECT_EQ(journal.find(-1), nullptr);
    EXPECT_EQ(journal.memory(), 3000U);
    EXPECT_EQ(journal.before(INT64_MAX)->id, 1001);
    EXPECT_EQ(journal.before(1001)->id, 1000);
    EXPECT_EQ(journal.before(2), nullptr);
}

TEST(TheJournal, GivesUpTheOldestBodiesFirst) {
    RequestJournal journal;
    journal.add(entryOf(journal, 10, 8 * mebibyte));
    journal.add(entryOf(journal, 10, 7 * mebibyte));
    journal.add(entryOf(journal, 10, 2 * mebibyte));
    EXPECT_EQ(journal.find(1)->request.body.size(), 0U);
    EXPECT_EQ(journal.find(1)->request.header.size(), 10U);
    EXPECT_EQ(journal.find(1)->request.size, 8 * mebibyte);
    EXPECT_EQ(journal.find(2)->request.body.size(), 7 * mebibyte);
    EXPECT_EQ(journal.memory(), 9 * mebibyte + 30);
}

TEST(TheJournal, GivesUpTheBodiesOfARequestTogether) {
    RequestJournal journal;
    JournalEntry entry = entryOf(journal, 10, 100);
    ASSERT_TRUE(journal.reserve(100));
    entry.response.body.assign(100, 'r');
    entry.response.size = 100;
    journal.add(std::move(entry));
    EXPECT_TRUE(journal.reserve(16 * mebibyte - 10));
    ASSERT_NE(journal.find(1), nullptr);
    EXPECT_EQ(journal.find(1)->request.body, "");
    EXPECT_EQ(journal.find(1)->response.body, "");
}

TEST(TheJournal, GivesUpNothingWhereThereIsJustEnoughRoom) {
    RequestJournal journal;
    journal.add(entryOf(journal, 10, 100));
    EXPECT_TRUE(journal.reserve(16 * mebibyte - 110));
    EXPECT_EQ(journal.find(1)->request.body.size(), 100U);
    EXPECT_TRUE(journal.reserve(100));
    EXPECT_EQ(journal.find(1)->request.body.size(), 0U);
    EXPECT_TRUE(journal.reserve(0));
    EXPECT_NE(journal.find(1), nullptr);
    EXPECT_TRUE(journal.reserve(1));
    EXPECT_EQ(journal.find(1), nullptr);
}

TEST(TheJournal, GivesUpTheOldestRequestsWhereNoBodyIsLeft) {
    RequestJournal journal;
    journal.add(entryOf(journal, 9 * mebibyte, 1));
    journal.add(entryOf(journal, 6 * mebibyte, 1));
    journal.add(entryOf(journal, 2 * mebibyte, 1));
    EXPECT_EQ(journal.find(1), nullptr);
    EXPECT_EQ(journal.find(2)->request.body, "");
    EXPECT_EQ(journal.find(3)->request.body, "b");
}

TEST(TheJournal, HasNoRoomWhereRequestsThatAreServedTakeAllOfIt) {
    RequestJournal journal;
    journal.add(entryOf(journal, 10, 10));
    EXPECT_TRUE(journal.reserve(16 * mebibyte));
    EXPECT_FALSE(journal.reserve(1));
    EXPECT_EQ(journal.find(1), nullptr);
    journal.release(16 * mebibyte);
    EXPECT_EQ(journal.memory(), 0U);
    journal.add(entryOf(journal, 1, 1));
    EXPECT_NE(journal.find(2), nullptr) << "no identifier is used again";
}

TEST(TheJournal, ForgetsAllRequests) {
    RequestJournal journal;
    journal.add(entryOf(journal, 1, 1));
    journal.clear();
    EXPECT_EQ(journal.memory(), 0U);
    EXPECT_EQ(journal.before(INT64_MAX), nullptr);
    journal.add(entryOf(journal, 1, 1));
    EXPECT_EQ(journal.before(INT64_MAX)->id, 2);
}

} // namespace webservice
