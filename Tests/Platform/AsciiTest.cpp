#include "Platform/Ascii.h"

#include <gtest/gtest.h>

using Platform::lowerCase;

TEST(ATextInLowerCase, DiffersInTheLettersOfAsciiAlone) {
    EXPECT_EQ(lowerCase("AZaz@[`{09\xC3\x89"), "azaz@[`{09\xC3\x89");
    EXPECT_EQ(lowerCase(""), "");
    EXPECT_EQ(lowerCase('M'), 'm');
    EXPECT_EQ(lowerCase('-'), '-');
}
