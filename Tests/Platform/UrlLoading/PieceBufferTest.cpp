#include "Platform/UrlLoading/PieceBuffer.h"

#include <gtest/gtest.h>

#include <string>

namespace Platform {

namespace {

TEST(APieceBuffer, HoldsWhatItTookUntilItIsTaken) {
    PieceBuffer buffer;
    buffer.setCapacity(10);
    EXPECT_TRUE(buffer.append("01234"));
    EXPECT_TRUE(buffer.append("56789"));
    EXPECT_EQ(buffer.room(), 0U);
    EXPECT_EQ(buffer.take().view(), "0123456789");
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.room(), 10U);
}

TEST(APieceBuffer, TakesNothingOfWhatDoesNotFitBehindTheRest) {
    PieceBuffer buffer;
    buffer.setCapacity(10);
    EXPECT_TRUE(buffer.append("0123456"));
    EXPECT_FALSE(buffer.append("7890"));
    EXPECT_EQ(buffer.view(), "0123456");
}

TEST(APieceBuffer, ThatIsEmptyTakesMoreThanWasAnnounced) {
    PieceBuffer buffer;
    buffer.setCapacity(0);
    EXPECT_TRUE(buffer.append("x"));
    buffer.clear();
    EXPECT_TRUE(buffer.append(std::string(16 << 10, 'y')));
    EXPECT_EQ(buffer.view(), std::string(16 << 10, 'y'));
}

TEST(APieceBuffer, HoldsNoMoreThanAPiece) {
    PieceBuffer buffer;
    buffer.setCapacity(std::size_t{1} << 40);
    EXPECT_EQ(buffer.room(), 1U << 20);
}

} // namespace

} // namespace Platform
