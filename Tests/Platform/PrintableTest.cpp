#include "Platform/Printable.h"

#include <gtest/gtest.h>

namespace {

using Platform::printable;
using Platform::printableLines;
using namespace std::string_literals;

TEST(APrintableText, KeepsWhatCanBeSeen) {
    EXPECT_EQ(printable(""), "");
    EXPECT_EQ(printable("a b~ é € \xC2\xA0 \u2027\u202A \xF0\x9F\x98\x80"),
              "a b~ é € \xC2\xA0 \u2027\u202A \xF0\x9F\x98\x80");
}

TEST(APrintableText, HasControlCharactersAsNumbers) {
    EXPECT_EQ(printable("a\0b\t\n\r\x1B[31m\x1F\x7F"s), "a\\x00b\\x09\\x0A\\x0D\\x1B[31m\\x1F\\x7F");
    EXPECT_EQ(printable("\u0080\u0085\u009B31m\u009F"), "\\xC2\\x80\\xC2\\x85\\xC2\\x9B31m\\xC2\\x9F");
}

TEST(APrintableText, HasLineSeparatorsAsNumbers) {
    EXPECT_EQ(printable("a\u2028b\u2029c"), "a\\xE2\\x80\\xA8b\\xE2\\x80\\xA9c");
}

TEST(APrintableText, HasBytesThatAreNotUtf8AsNumbers) {
    // 9B alone is the control sequence introducer of an 8-bit terminal.
    EXPECT_EQ(printable("\x9B"
                        "31m\xFF\xC2"),
              "\\x9B31m\\xFF\\xC2");
    EXPECT_EQ(printable("\xE2\x80"
                        "a\xC2\n"),
              "\\xE2\\x80a\\xC2\\x0A");
}

TEST(APrintableTextOfSeveralLines, KeepsLineFeedsAndTabs) {
    EXPECT_EQ(printableLines("a\n\tb\r\n\u0085\u2028\x9B"), "a\n\tb\\x0D\n\\xC2\\x85\\xE2\\x80\\xA8\\x9B");
}

} // namespace
