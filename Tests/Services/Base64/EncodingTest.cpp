// Encoding data as text: the characters, the padding and the line wrapping.

#include "EachKernel.h"

#include <utility>

namespace Quenmark::Base64 {

namespace {

using Encoding = EachKernel;

std::string encoded(const Kernels::Kernel& kernel, std::string_view text, std::size_t wrapWidth = 0) {
    return Codec::encodedText(kernel, bytesOf(text), wrapWidth).value_or("no value");
}

/// The text of the alphabet's 64 characters in order.
Bytes wholeAlphabet() {
    Bytes bytes;
    for (unsigned group = 0; group < 16; ++group) {
        const unsigned first = group * 4;
        const unsigned bits = first << 18 | (first + 1) << 12 | (first + 2) << 6 | (first + 3);
        bytes.push_back(static_cast<std::byte>(bits >> 16 & 0xFF));
        bytes.push_back(static_cast<std::byte>(bits >> 8 & 0xFF));
        bytes.push_back(static_cast<std::byte>(bits & 0xFF));
    }
    return bytes;
}

/// Bit by bit, straight from the definition.
std::string encodedSlowly(const Bytes& data) {
    const std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t bit = 0; bit < data.size() * 8; bit += 6) {
        std::size_t sextet = 0;
        for (std::size_t place = bit; place < bit + 6; ++place) {
            const std::size_t byte = place / 8 < data.size() ? std::to_integer<std::size_t>(data[place / 8]) : 0;
            sextet = sextet << 1 | (byte >> (7 - place % 8) & 1);
        }
        text += characters[sextet];
    }
    text.append((4 - text.size() % 4) % 4, '=');
    return text;
}

} // namespace

TEST_P(Encoding, GivesTheExamplesOfRfc4648) {
    EXPECT_EQ(encoded(kernel(), "f"), "Zg==");
    EXPECT_EQ(encoded(kernel(), "fo"), "Zm8=");
    EXPECT_EQ(encoded(kernel(), "foo"), "Zm9v");
    EXPECT_EQ(encoded(kernel(), "foob"), "Zm9vYg==");
    EXPECT_EQ(encoded(kernel(), "fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded(kernel(), "foobar"), "Zm9vYmFy");
}

TEST_P(Encoding, UsesTheWholeStandardAlphabet) {
    const std::string alphabetText = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes bytes = wholeAlphabet();
    EXPECT_EQ(Codec::encodedText(kernel(), bytes, 0), alphabetText);
    const Bytes once = bytes;
    bytes.insert(bytes.end(), once.begin(), once.end());
    EXPECT_EQ(Codec::encodedText(kernel(), bytes, 0), alphabetText + alphabetText);
}

TEST_P(Encoding, OfNoDataHasNoValueAtAnyWidth) {
    for (const std::size_t width : {0U, 1U, 2U, 3U, 4U, 64U, 76U}) {
        EXPECT_EQ(Codec::encodedText(kernel(), {}, width), std::nullopt) << width;
    }
}

TEST_P(Encoding, OfEveryLengthTo300FollowsTheDefinition) {
    for (std::size_t length = 1; length <= 300; ++length) {
        const Bytes data = randomBytes(length, length);
        EXPECT_EQ(Codec::encodedText(kernel(), data, 0), encodedSlowly(data)) << length;
    }
}

TEST_P(Encoding, FollowsTheDefinitionAroundTheEndOfAPiece) {
    for (std::size_t length = 2 * Codec::pieceBytes - 4; length <= 2 * Codec::pieceBytes + 4; ++length) {
        const Bytes data = randomBytes(length, length);
        EXPECT_EQ(Codec::encodedText(kernel(), data, 0), encodedSlowly(data)) << length;
    }
}

TEST_P(Encoding, DoesNotDependOnWhereTheDataStands) {
    const Bytes data = randomBytes(400, 7);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const auto part = std::span(data).subspan(offset, 300);
        EXPECT_EQ(Codec::encodedText(kernel(), part, 0), encodedSlowly(Bytes(part.begin(), part.end()))) << offset;
    }
}

TEST_P(Encoding, EndsLinesWithCarriageReturnAndLineFeedAndTheLastWithNothing) {
    const std::string text(60, 'x'); // 80 characters, "eHh4" twenty times
    const auto groups = [](std::size_t count) {
        std::string line;
        for (std::size_t group = 0; group < count; ++group) {
            line += "eHh4";
        }
        return line;
    };
    EXPECT_EQ(encoded(kernel(), text, 76), groups(19) + "\r\n" + groups(1));
    EXPECT_EQ(encoded(kernel(), text, 64), groups(16) + "\r\n" + groups(4));
    EXPECT_EQ(encoded(kernel(), text, 40), groups(10) + "\r\n" + groups(10));
    EXPECT_EQ(encoded(kernel(), text, 0), groups(20));
    EXPECT_EQ(encoded(kernel(), text, 79), groups(19) + "\r\n" + groups(1));
    EXPECT_EQ(encoded(kernel(), text, 80), groups(20));
    EXPECT_EQ(encoded(kernel(), text, static_cast<std::size_t>(-1)), groups(20));
}

TEST_P(Encoding, RoundsTheWidthDownToWholeGroups) {
    EXPECT_EQ(encoded(kernel(), "foobar", 4), "Zm9v\r\nYmFy");
    EXPECT_EQ(encoded(kernel(), "foobar", 6), "Zm9v\r\nYmFy");
    EXPECT_EQ(encoded(kernel(), "foobar", 7), "Zm9v\r\nYmFy");
    EXPECT_EQ(encoded(kernel(), "foobar", 8), "Zm9vYmFy");
    EXPECT_EQ(encoded(kernel(), "foobarfoobarf", 10), "Zm9vYmFy\r\nZm9vYmFy\r\nZg==");
    EXPECT_EQ(encoded(kernel(), "foobarfoobarf", 12), "Zm9vYmFyZm9v\r\nYmFyZg==");
}

TEST_P(Encoding, WrapsEveryWidthLikeTheUnwrappedTextCutAfterwards) {
    for (const std::size_t length : {1U, 56U, 57U, 58U, 114U, 115U, 300U}) {
        const Bytes data = randomBytes(length, length);
        const std::string line = encodedSlowly(data);
        for (std::size_t width = 4; width <= line.size() + 4; ++width) {
            std::string expected;
            for (std::size_t position = 0; position < line.size(); position += width / 4 * 4) {
                expected += (position > 0 ? "\r\n" : "") + line.substr(position, width / 4 * 4);
            }
            EXPECT_EQ(Codec::encodedText(kernel(), data, width), expected) << length << " in lines of " << width;
        }
    }
}

TEST_P(Encoding, WrapsLinesThatAreLongerThanAPiece) {
    const Bytes data = randomBytes(5 * Codec::pieceBytes, 11);
    const std::string line = encodedSlowly(data);
    const std::size_t width = Codec::pieceCharacters * 2 + 4;
    EXPECT_EQ(Codec::encodedText(kernel(), data, width),
              line.substr(0, width) + "\r\n" + line.substr(width, width) + "\r\n" + line.substr(2 * width));
}

INSTANTIATE_TEST_SUITE_P(With, Encoding, testing::ValuesIn(everyKernel()), kernelName);

} // namespace Quenmark::Base64
