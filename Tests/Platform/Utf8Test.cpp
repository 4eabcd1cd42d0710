#include "Platform/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Platform::firstInvalidUtf8;
using namespace std::string_literals;

constexpr std::size_t none = std::string_view::npos;

TEST(Utf8, AcceptsTheFirstAndTheLastCharacterOfEachLength) {
    for (const std::string& text : {""s, "\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xEF\xBF\xBF"s,
                                    "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s})
        EXPECT_EQ(firstInvalidUtf8(text), none) << text;
}

TEST(Utf8, RefusesOverlongForms) {
    for (const std::string& text : {"\xC0\x80"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xF0\x8F\xBF\xBF"s})
        EXPECT_EQ(firstInvalidUtf8(text), 0U);
}

TEST(Utf8, RefusesSurrogatesAndWhatIsBeyondUnicode) {
    for (const std::string& text :
         {"\xED\xA0\x80"s, "\xED\xBF\xBF"s, "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s})
        EXPECT_EQ(firstInvalidUtf8(text), 0U);
}

TEST(Utf8, RefusesSequencesThatEndEarly) {
    for (const std::string& text : {"\xC3"s, "\xE2\x82"s, "\xE2"s, "\xF0\x9F\x98"s, "\x80"s, "\xE2\x82 "s})
        EXPECT_EQ(firstInvalidUtf8(text), 0U);
}

TEST(Utf8, TellsThePlaceOfTheFirstWrongByte) {
    EXPECT_EQ(firstInvalidUtf8("a\xC3\xA9z\xC3("), 4U);
    EXPECT_EQ(firstInvalidUtf8("\xE2\x82\xAC\xFF"), 3U);
}

} // namespace
