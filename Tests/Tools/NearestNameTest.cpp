// How near two names are, and which of many is nearest.

#include "Tools/NearestName.h"

#include <gtest/gtest.h>

using namespace Tools;

TEST(TheEditDistance, CountsLettersThatAreAddedRemovedOrReplaced) {
    EXPECT_EQ(editDistance("", ""), 0U);
    EXPECT_EQ(editDistance("", "abc"), 3U);
    EXPECT_EQ(editDistance("abc", ""), 3U);
    EXPECT_EQ(editDistance("kitten", "sitting"), 3U);
    EXPECT_EQ(editDistance("UserID", "UsrID"), 1U);
}

TEST(TheEditDistance, LeavesLetterCaseOutOfAccount) {
    EXPECT_EQ(editDistance("USERID", "UserID"), 0U);
    EXPECT_EQ(editDistance("UserId", "userIDs"), 1U);
}

TEST(TheNearestName, IsTheFirstOfThoseWithTheLeastDistance) {
    EXPECT_EQ(nearestName("UserId", {"ComputerID", "UserID", "userid"}), "UserID");
    EXPECT_EQ(nearestName("x", {"ab", "cd"}), "ab");
    EXPECT_EQ(nearestName("x", {}), "");
}

TEST(TheEditDistance, TakesTheCheapestWay) {
    EXPECT_EQ(editDistance("ab", "ba"), 2U);
    EXPECT_EQ(editDistance("abc", "cab"), 2U);
    EXPECT_EQ(editDistance("abcdef", "bcdefg"), 2U);
    EXPECT_EQ(editDistance("a", "bcd"), 3U);
    EXPECT_EQ(editDistance("bcd", "a"), 3U);
    EXPECT_EQ(editDistance("saturday", "sunday"), 3U);
    EXPECT_EQ(editDistance("aaaa", "aa"), 2U);
}
