#include "Platform/Utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using Platform::firstInvalidUtf8;
using namespace std::string_literals;

constexpr std::size_t nowhere = std::string_view::npos;

bool isUtf8(std::string_view text) {
    return firstInvalidUtf8(text) == nowhere;
}

/// A code point in the form of `length` bytes, whether or not that form is allowed.
std::string inForm(std::uint32_t codePoint, std::size_t length) {
    constexpr unsigned leads[] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8};
    std::string bytes(length, '\0');
    for (std::size_t index = length; --index > 0; codePoint >>= 6) {
        bytes[index] = static_cast<char>(0x80 | (codePoint & 0x3F));
    }
    bytes[0] = static_cast<char>(leads[length] | codePoint);
    return bytes;
}

std::size_t rightLength(std::uint32_t codePoint) {
    return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

bool isSurrogate(std::uint32_t codePoint) {
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

TEST(Utf8, AcceptsTheFirstAndTheLastCharacterOfEachLength) {
    for (const std::string& text : {""s, "\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xEF\xBF\xBF"s,
                                    "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s})
        EXPECT_EQ(firstInvalidUtf8(text), nowhere) << text;
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

TEST(Utf8, IsEveryCodePointButTheSurrogatesInItsShortestForm) {
    for (std::uint32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        ASSERT_EQ(isUtf8(inForm(codePoint, rightLength(codePoint))), !isSurrogate(codePoint)) << codePoint;
    }
}

TEST(Utf8, IsNoLongerFormOfACodePoint) {
    for (std::uint32_t codePoint = 0; codePoint < 0x10000; ++codePoint) {
        for (std::size_t length = rightLength(codePoint) + 1; length <= 5; ++length) {
            ASSERT_FALSE(isUtf8(inForm(codePoint, length))) << codePoint << " in " << length;
        }
    }
}

TEST(Utf8, HasNothingAboveTheLastCodePoint) {
    for (std::uint32_t codePoint = 0x110000; codePoint <= 0x1FFFFF; ++codePoint) {
        ASSERT_FALSE(isUtf8(inForm(codePoint, 4))) << codePoint;
    }
}

TEST(Utf8, HasNoCharacterThatIsCutShortOrBeginsInTheMiddle) {
    for (const std::uint32_t codePoint : {0xE4U, 0x20ACU, 0x1F600U}) {
        const std::string whole = inForm(codePoint, rightLength(codePoint));
        for (std::size_t cut = 1; cut < whole.size(); ++cut) {
            EXPECT_FALSE(isUtf8(whole.substr(0, cut)));
            EXPECT_FALSE(isUtf8(whole.substr(cut)));
            EXPECT_FALSE(isUtf8(whole.substr(0, cut) + "a"));
            EXPECT_FALSE(isUtf8(whole.substr(0, cut) + whole));
        }
    }
}

TEST(Utf8, IsCheckedAtEveryPlaceOfALongText) {
    for (std::size_t before = 0; before < 40; ++before) {
        const std::string start(before, 'a');
        const std::string end(20, 'z');
        EXPECT_TRUE(isUtf8(start + "\xF0\x9F\x98\x80" + end));
        EXPECT_FALSE(isUtf8(start + "\xFF" + end));
        EXPECT_FALSE(isUtf8(start + "\xC3"));
    }
    EXPECT_TRUE(isUtf8(""));
}

/// The bytes that may follow each first byte of a character of several bytes (Unicode, table 3-7).
struct Row {
    int firstLead;
    int lastLead;
    int lowestSecond;
    int highestSecond;
    std::size_t length;
};
constexpr Row rows[] = {{0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
                        {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
                        {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};

TEST(Utf8, HasTheBytesOfItsTableAfterEachFirstByteAndNoOthers) {
    for (int lead = 0x80; lead < 0x100; ++lead) {
        const Row* found = nullptr;
        for (const auto& row : rows)
            found = lead >= row.firstLead && lead <= row.lastLead ? &row : found;
        for (int other = 0; other < 0x100; ++other) {
            const bool isSecond = found != nullptr && other >= found->lowestSecond && other <= found->highestSecond;
            const bool isTrail = found != nullptr && other >= 0x80 && other <= 0xBF;
            for (std::size_t place = 1; found != nullptr ? place < found->length : place < 4; ++place) {
                std::string bytes(found != nullptr ? found->length : 4, '\x80');
                bytes[0] = static_cast<char>(lead);
                if (found != nullptr)
                    bytes[1] = static_cast<char>(found->lowestSecond);
                bytes[place] = static_cast<char>(other);
                ASSERT_EQ(isUtf8(bytes), place == 1 ? isSecond : isTrail) << lead << " " << other << " " << place;
            }
        }
    }
}

} // namespace
