// Numbers and the C types that they remember.

#include "XPCWrappers/Number.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Quenmark::XPC::integerPart;
using Quenmark::XPC::Number;

TEST(ANumber, RemembersItsType) {
    EXPECT_EQ(Number(true).objCType(), 'c');
    EXPECT_EQ(Number(static_cast<signed char>(1)).objCType(), 'c');
    EXPECT_EQ(Number(static_cast<unsigned char>(1)).objCType(), 'C');
    EXPECT_EQ(Number(static_cast<short>(1)).objCType(), 's');
    EXPECT_EQ(Number(static_cast<unsigned short>(1)).objCType(), 'S');
    EXPECT_EQ(Number(1).objCType(), 'i');
    EXPECT_EQ(Number(1U).objCType(), 'I');
    EXPECT_EQ(Number(1L).objCType(), 'q');
    EXPECT_EQ(Number(1UL).objCType(), 'Q');
    EXPECT_EQ(Number(1LL).objCType(), 'q');
    EXPECT_EQ(Number(1ULL).objCType(), 'Q');
    EXPECT_EQ(Number(1.0F).objCType(), 'f');
    EXPECT_EQ(Number(1.0).objCType(), 'd');
}

TEST(ANumber, IsTrueOnlyAsThatBoolean) {
    EXPECT_TRUE(Number(true).isTrue());
    EXPECT_FALSE(Number(false).isTrue());
    EXPECT_FALSE(Number(1).isTrue());
    EXPECT_FALSE(Number(1.0).isTrue());
}

TEST(ANumber, GivesItsValueAsAnyType) {
    EXPECT_EQ(Number(true).doubleValue(), 1.0);
    EXPECT_EQ(Number(-7).doubleValue(), -7.0);
    EXPECT_EQ(Number(-7).longValue(), -7);
    EXPECT_EQ(Number(-7).unsignedLongValue(), 0U);
    EXPECT_EQ(Number(true).longValue(), 1);
    EXPECT_EQ(Number(2.9).longValue(), 2);
    EXPECT_EQ(Number(-2.9F).longValue(), -2);
    EXPECT_EQ(Number(std::numeric_limits<std::uint64_t>::max()).longValue(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(Number(std::numeric_limits<std::uint64_t>::max()).unsignedLongValue(), 18446744073709551615U);
    EXPECT_EQ(Number(std::numeric_limits<std::int64_t>::min()).longValue(), std::numeric_limits<std::int64_t>::min());
}

TEST(ANumber, EqualsOneOfTheSameTypeAndValue) {
    EXPECT_EQ(Number(7LL), Number(7L));
    EXPECT_NE(Number(7LL), Number(7));
    EXPECT_NE(Number(1), Number(true));
    EXPECT_NE(Number(7), Number(8));
}

TEST(AnIntegerPart, StopsAtTheLastIntegerThereIs) {
    EXPECT_EQ(integerPart(1.999), 1);
    EXPECT_EQ(integerPart(-1.999), -1);
    EXPECT_EQ(integerPart(1e30), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integerPart(-1e30), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(integerPart(9223372036854775807.0), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integerPart(std::numeric_limits<double>::infinity()), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integerPart(std::numeric_limits<double>::quiet_NaN()), 0);
}

} // namespace
