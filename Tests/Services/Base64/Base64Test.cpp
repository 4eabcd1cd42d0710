// The operations as callers use them, on whichever inner loops this processor gets.

#include "EachKernel.h"

#include <sys/time.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace Quenmark::Base64 {

TEST(Base64OfData, IsItsTextWithAndWithoutWrapping) {
    const Bytes data = bytesOf("foobar");
    EXPECT_EQ(base64EncodedString(data), "Zm9vYmFy");
    EXPECT_EQ(base64EncodedStringWithWrapWidth(data, 0), "Zm9vYmFy");
    EXPECT_EQ(base64EncodedStringWithWrapWidth(data, 6), "Zm9v\r\nYmFy");
}

TEST(Base64OfData, HasNoValueForNoData) {
    EXPECT_EQ(base64EncodedString(Bytes()), std::nullopt);
    EXPECT_EQ(base64EncodedStringWithWrapWidth(Bytes(), 76), std::nullopt);
}

TEST(Base64OfData, TurnsBackIntoTheData) {
    EXPECT_EQ(dataWithBase64EncodedString("SGVs\nbG8="), bytesOf("Hello"));
    EXPECT_EQ(base64DecodedData("SGVs\nbG8="), bytesOf("Hello"));
    EXPECT_EQ(base64DecodedData("/w=="), Bytes{std::byte{0xFF}});
    EXPECT_EQ(dataWithBase64EncodedString(""), std::nullopt);
    EXPECT_EQ(base64DecodedData("===="), std::nullopt);
    EXPECT_EQ(base64DecodedData("SGV"), std::nullopt);
}

/// Runs until a second of the processor's time is used up.
void encodeInLinesOf(std::size_t width) {
    constexpr itimerval limit{.it_interval = {}, .it_value = {.tv_sec = 1, .tv_usec = 0}};
    ::signal(SIGPROF, SIG_DFL);
    ::setitimer(ITIMER_PROF, &limit, nullptr);
    base64EncodedStringWithWrapWidth(bytesOf("foo"), width);
    std::_Exit(0);
}

TEST(Base64OfDataDeathTest, HasNoEndInLinesOfOneToThreeCharacters) {
    for (std::size_t width = 1; width <= 3; ++width) {
        EXPECT_EXIT(encodeInLinesOf(width), testing::KilledBySignal(SIGPROF), "") << width;
        EXPECT_EQ(base64EncodedStringWithWrapWidth(Bytes(), width), std::nullopt);
    }
    EXPECT_EQ(base64EncodedStringWithWrapWidth(bytesOf("foo"), 4), "Zm9v");
}

TEST(Base64OfAString, IsThatOfItsUtf8Bytes) {
    EXPECT_EQ(base64EncodedString("\xE2\x82\xAC"), "4oKs");
    EXPECT_EQ(base64EncodedString(std::string("foobar")), "Zm9vYmFy");
    EXPECT_EQ(base64EncodedStringWithWrapWidth("foobar", 4), "Zm9v\r\nYmFy");
    EXPECT_EQ(base64EncodedString(std::string_view("\0", 1)), "AA==");
    EXPECT_EQ(base64EncodedString("\xFF"), "/w==");
}

TEST(Base64OfAString, HasNoValueForTheEmptyString) {
    EXPECT_EQ(base64EncodedString(""), std::nullopt);
    EXPECT_EQ(base64EncodedStringWithWrapWidth("", 64), std::nullopt);
}

TEST(Base64OfAString, TurnsBackIntoTheStringWhereItIsUtf8) {
    EXPECT_EQ(stringWithBase64EncodedString("4oKs"), "\xE2\x82\xAC");
    EXPECT_EQ(base64DecodedString("SGVs\r\nbG8="), "Hello");
    EXPECT_EQ(stringWithBase64EncodedString("/w=="), std::nullopt);
    EXPECT_EQ(base64DecodedString("/w=="), std::nullopt);
    EXPECT_EQ(base64DecodedString(""), std::nullopt);
    EXPECT_EQ(base64DecodedString("===="), std::nullopt);
}

TEST(Base64OfLargeData, TurnsBackIntoTheData) {
    // Large enough for memory of its own, which is treated differently from the heap's.
    const Bytes block = randomBytes(1'000'003, 1);
    Bytes data;
    while (data.size() < 40 * 1024 * 1024 + 1)
        data.insert(data.end(), block.begin(), block.end());
    data.resize(40 * 1024 * 1024 + 1);
    const std::optional<std::string> line = base64EncodedString(data);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->size(), 55924056U);
    EXPECT_TRUE(base64DecodedData(*line) == data);
    const std::optional<std::string> lines = base64EncodedStringWithWrapWidth(data, 76);
    ASSERT_TRUE(lines);
    EXPECT_EQ(lines->size(), 55924056U + 55924055U / 76 * 2);
    EXPECT_TRUE(base64DecodedData(*lines) == data);
}

TEST(Base64InPieces, IsTheSameAsInOne) {
    const Bytes data = randomBytes(100000, 4);
    std::string text;
    encodeInPieces(data, [&text](std::string_view piece) {
        EXPECT_FALSE(piece.empty());
        EXPECT_LE(piece.size(), 16384U);
        text += piece;
    });
    EXPECT_EQ(text, base64EncodedString(data));

    Bytes decoded;
    EXPECT_TRUE(decodeInPieces(text, [&decoded](std::span<const std::byte> piece) {
        EXPECT_FALSE(piece.empty());
        EXPECT_LE(piece.size(), 16384U);
        decoded.insert(decoded.end(), piece.begin(), piece.end());
    }));
    EXPECT_EQ(decoded, data);
}

TEST(Base64InPieces, HasPiecesOf16KiBOfText) {
    const Bytes data = randomBytes(20000, 5);
    std::vector<std::size_t> characters;
    encodeInPieces(data, [&](std::string_view piece) { characters.push_back(piece.size()); });
    EXPECT_EQ(characters, (std::vector<std::size_t>{16384, 10284}));
    std::vector<std::size_t> bytes;
    EXPECT_TRUE(decodeInPieces(*base64EncodedString(data),
                               [&](std::span<const std::byte> piece) { bytes.push_back(piece.size()); }));
    EXPECT_EQ(bytes, (std::vector<std::size_t>{12288, 7710, 2}));
}

TEST(Base64InPieces, HasNoPieceForNoData) {
    encodeInPieces({}, [](std::string_view) { FAIL(); });
    for (const std::string_view text : {"", "====", " \n", "Z", "Zg=", "=Zg=", "Z==="}) {
        EXPECT_FALSE(decodeInPieces(text, [](std::span<const std::byte>) { FAIL(); })) << text;
    }
}

TEST(Base64InPieces, ReportsAMalformedTextAfterItsValidPieces) {
    const std::string good = *base64EncodedString(randomBytes(60000, 6));
    std::size_t size = 0;
    EXPECT_FALSE(decodeInPieces(good + "Z", [&size](std::span<const std::byte> piece) { size += piece.size(); }));
    EXPECT_EQ(size, 60000U);
}

TEST(Base64InPieces, LetsAnExceptionOfTheSinkThrough) {
    const auto fail = [](const auto&) { throw std::runtime_error("full"); };
    EXPECT_THROW(encodeInPieces(bytesOf("foo"), fail), std::runtime_error);
    EXPECT_THROW(decodeInPieces("Zm9v", fail), std::runtime_error);
}

} // namespace Quenmark::Base64
