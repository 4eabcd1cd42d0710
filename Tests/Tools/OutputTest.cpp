// How the tool writes numbers of bytes.

#include "Tools/Output.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace Tools;

TEST(ANumberOfBytes, HasTheLargestUnitThatItIsAtLeastOneOf) {
    for (const auto& [bytes, text] : {std::pair<std::uint64_t, const char*>(0, "0 B"),
                                      {1, "1 B"},
                                      {1023, "1023 B"},
                                      {1024, "1.0 KiB"},
                                      {1536, "1.5 KiB"},
                                      {(1 << 20) - 1, "1024.0 KiB"},
                                      {1 << 20, "1.0 MiB"},
                                      {std::uint64_t{1} << 30, "1.0 GiB"},
                                      {std::uint64_t{1} << 40, "1.0 TiB"},
                                      {std::uint64_t{1} << 50, "1.0 PiB"},
                                      {std::uint64_t{1} << 60, "1.0 EiB"},
                                      {UINT64_MAX, "16.0 EiB"},
                                      {std::uint64_t{5} << 29, "2.5 GiB"}})
        EXPECT_EQ(byteCount(bytes), text);
}

TEST(AShare, IsAPercentageOfTheWhole) {
    EXPECT_EQ(shareOf(0, 1024), "0 % of 1.0 KiB");
    EXPECT_EQ(shareOf(1023, 1024), "99 % of 1.0 KiB");
    EXPECT_EQ(shareOf(1024, 1024), "100 % of 1.0 KiB");
    EXPECT_EQ(shareOf(4096, 1024), "100 % of 1.0 KiB");
    EXPECT_EQ(shareOf(0, 0), "100 % of 0 B");
}

TEST(TheBeginningOfAText, IsWholeCharacters) {
    EXPECT_EQ(beginning("abc", 3), "abc");
    EXPECT_EQ(beginning("abc", 2), "ab");
    EXPECT_EQ(beginning("abc", 0), "");
    EXPECT_EQ(beginning("a\u00E9b", 2), "a");
    EXPECT_EQ(beginning("a\u00E9b", 3), "a\u00E9");
    EXPECT_EQ(beginning("\u2028", 2), "");
    EXPECT_EQ(beginning("\x80\x80\x80", 2), "");
}
