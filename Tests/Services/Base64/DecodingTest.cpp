// Decoding text as data: what is skipped, what is refused, and that everything that was encoded comes back.

#include "EachKernel.h"

namespace Quenmark::Base64 {

namespace {

using Decoding = EachKernel;

const std::optional<std::string> none;

std::optional<std::string> decoded(const Kernels::Kernel& kernel, std::string_view text) {
    const std::optional<Bytes> data = Codec::decodedData(kernel, text);
    return data ? std::optional(std::string(reinterpret_cast<const char*>(data->data()), data->size())) : std::nullopt;
}

bool isForeign(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return !(byte < 0x80 && (std::isalnum(byte) != 0 || character == '+' || character == '/' || character == '='));
}

std::uint32_t sextetByName(char character) {
    const std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    return static_cast<std::uint32_t>(characters.find(character));
}

/// In the plainest way: take out what is foreign, look at the padding, then group by group.
std::optional<std::string> decodedSlowly(std::string text) {
    std::erase_if(text, isForeign);
    const std::size_t characters = std::min(text.find('='), text.size());
    const std::size_t padding = text.size() - characters;
    if (text.size() % 4 != 0 || padding > 2 || text.find_first_not_of('=', characters) != std::string::npos) {
        return std::nullopt;
    }
    std::string data;
    for (std::size_t group = 0; group < text.size(); group += 4) {
        std::uint32_t bits = 0;
        for (std::size_t place = group; place < group + 4; ++place) {
            bits = bits << 6 | (text[place] == '=' ? 0 : sextetByName(text[place]));
        }
        data += {static_cast<char>(bits >> 16), static_cast<char>(bits >> 8), static_cast<char>(bits)};
    }
    data.resize(data.size() - padding);
    return data.empty() ? std::nullopt : std::optional(data);
}

} // namespace

TEST_P(Decoding, GivesTheExamplesOfRfc4648) {
    EXPECT_EQ(decoded(kernel(), "Zg=="), "f");
    EXPECT_EQ(decoded(kernel(), "Zm8="), "fo");
    EXPECT_EQ(decoded(kernel(), "Zm9v"), "foo");
    EXPECT_EQ(decoded(kernel(), "Zm9vYg=="), "foob");
    EXPECT_EQ(decoded(kernel(), "Zm9vYmE="), "fooba");
    EXPECT_EQ(decoded(kernel(), "Zm9vYmFy"), "foobar");
}

TEST_P(Decoding, HasNoValueWhereThereAreNoBytes) {
    EXPECT_EQ(decoded(kernel(), ""), none);
    EXPECT_EQ(decoded(kernel(), "===="), none);
    EXPECT_EQ(decoded(kernel(), "="), none);
    EXPECT_EQ(decoded(kernel(), "========"), none);
    EXPECT_EQ(decoded(kernel(), " \r\n\t"), none);
    EXPECT_EQ(decoded(kernel(), std::string(100000, '-')), none);
}

TEST_P(Decoding, SkipsLineBreaksBlanksAndEveryForeignCharacter) {
    EXPECT_EQ(decoded(kernel(), "SGVs\nbG8="), "Hello");
    EXPECT_EQ(decoded(kernel(), "SGVs\r\nbG8="), "Hello");
    EXPECT_EQ(decoded(kernel(), "\r\n S G\tV s-b_G*8 = \n"), "Hello");
    EXPECT_EQ(decoded(kernel(), std::string_view("SG\0VsbG\08=\0", 11)), "Hello");
    EXPECT_EQ(decoded(kernel(), "SGVs\xC3\xA4\xE2\x82\xAC\xFF\x80"
                                "bG8="),
              "Hello");
    EXPECT_EQ(decoded(kernel(), "Zg=\r\n="), "f");
    EXPECT_EQ(decoded(kernel(), "Zg==\r\n"), "f");
}

TEST_P(Decoding, RefusesALengthThatIsNoMultipleOfFour) {
    EXPECT_EQ(decoded(kernel(), "Z"), none);
    EXPECT_EQ(decoded(kernel(), "Zg"), none);
    EXPECT_EQ(decoded(kernel(), "Zm8"), none);
    EXPECT_EQ(decoded(kernel(), "Zm9vY"), none);
    EXPECT_EQ(decoded(kernel(), "Zm9vYg"), none);
    EXPECT_EQ(decoded(kernel(), "Zm9v="), none);
    EXPECT_EQ(decoded(kernel(), "Zg="), none);
    EXPECT_EQ(decoded(kernel(), "Zg==="), none);
    EXPECT_EQ(decoded(kernel(), "Zm8=="), none);
}

TEST_P(Decoding, RefusesPaddingBeforeTheEndAndMoreThanTwoOfIt) {
    EXPECT_EQ(decoded(kernel(), "=Zm9"), none);
    EXPECT_EQ(decoded(kernel(), "Zg=v"), none);
    EXPECT_EQ(decoded(kernel(), "Zg==Zg=="), none);
    EXPECT_EQ(decoded(kernel(), "Zm8=Zm9v"), none);
    EXPECT_EQ(decoded(kernel(), "Zg=\n=\nZm9v"), none);
    EXPECT_EQ(decoded(kernel(), "Z==="), none);
    EXPECT_EQ(decoded(kernel(), "Zm9v===="), none);
    EXPECT_EQ(decoded(kernel(), "====Zm9v"), none);
}

TEST_P(Decoding, IgnoresTheBitsBeyondTheData) {
    EXPECT_EQ(decoded(kernel(), "Zh=="), "f");
    EXPECT_EQ(decoded(kernel(), "Z/=="), decoded(kernel(), "Zw=="));
    EXPECT_EQ(decoded(kernel(), "Zm9="), "fo");
}

TEST_P(Decoding, GivesBackEveryLengthTo300) {
    for (std::size_t length = 1; length <= 300; ++length) {
        const Bytes data = randomBytes(length, length);
        for (const std::size_t width : {0U, 4U, 64U, 76U}) {
            const std::optional<std::string> text = Codec::encodedText(kernel(), data, width);
            ASSERT_TRUE(text);
            EXPECT_EQ(Codec::decodedData(kernel(), *text), data) << length << " in lines of " << width;
        }
    }
}

TEST(DecodingWithEveryKernel, TreatsEveryCharacterRightAtEveryPlace) {
    const std::string text = *Codec::encodedText(Kernels::portable, randomBytes(99, 3), 0);
    const std::vector<Kernels::Kernel> kernels = everyKernel();
    const auto expectAgreement = [&kernels](const std::string& changed, int character, std::size_t place) {
        const std::optional<std::string> expected = decodedSlowly(changed);
        for (const Kernels::Kernel& kernel : kernels) {
            ASSERT_EQ(decoded(kernel, changed), expected) << kernel.name << ": " << character << " near " << place;
        }
    };
    for (std::size_t place = 0; place < text.size(); ++place) {
        for (int character = 0; character < 256; ++character) {
            std::string changed = text;
            changed[place] = static_cast<char>(character);
            ASSERT_NO_FATAL_FAILURE(expectAgreement(changed, character, place));
            changed.insert(place, 1, text[place]);
            ASSERT_NO_FATAL_FAILURE(expectAgreement(changed, character, place));
        }
    }
}

TEST(DecodingWithEveryKernel, AgreesWithThePlainestWayOnAnyMixture) {
    const std::vector<Kernels::Kernel> kernels = everyKernel();
    std::mt19937_64 random(20);
    const std::string_view mixture = "AZaz09+/AZaz09+/AZaz09+/= \n-\xFF";
    std::size_t values = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 80, ' ');
        // Most rounds draw from the alphabet alone, or hardly any text would be well formed.
        const std::size_t choice = round % 4 == 0 ? mixture.size() : 24;
        std::generate(text.begin(), text.end(), [&] { return mixture[random() % choice]; });
        const std::optional<std::string> expected = decodedSlowly(text);
        values += expected ? 1U : 0U;
        for (const Kernels::Kernel& kernel : kernels) {
            ASSERT_EQ(decoded(kernel, text), expected) << kernel.name << ": " << text;
        }
    }
    EXPECT_GT(values, 3000U);
    EXPECT_LT(values, 17000U);
}

TEST_P(Decoding, CarriesGroupsOverTheEndsOfPieces) {
    const Bytes data = randomBytes(3 * Codec::pieceBytes + 1, 5);
    const std::string text = *Codec::encodedText(Kernels::portable, data, 0);
    for (std::size_t blanks = 0; blanks < 9; ++blanks) {
        EXPECT_EQ(Codec::decodedData(kernel(), std::string(blanks, ' ') + text), data) << blanks;
    }
    // The padding stands on both sides of a piece's end.
    std::string apart = text.substr(0, Codec::pieceCharacters - 2) + "==";
    apart.insert(apart.size() - 1, Codec::pieceCharacters, '\n');
    apart.insert(5, 1, '\n');
    EXPECT_EQ(decoded(kernel(), apart), decodedSlowly(apart));
    EXPECT_EQ(decoded(kernel(), apart)->size(), Codec::pieceBytes - 2);
    EXPECT_EQ(decoded(kernel(), apart + std::string(Codec::pieceCharacters, ' ') + "Zm9v"), none);
}

TEST_P(Decoding, DoesNotDependOnWhereTheTextStands) {
    const Bytes data = randomBytes(300, 9);
    const std::string text = *Codec::encodedText(Kernels::portable, data, 76);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const std::string moved = std::string(offset, 'A') + text;
        EXPECT_EQ(Codec::decodedData(kernel(), std::string_view(moved).substr(offset)), data) << offset;
    }
}

TEST_P(Decoding, OfAStringNeedsUtf8) {
    EXPECT_EQ(Codec::decodedString(kernel(), "R3LDvMOfZSDigqwg8J+YgA=="), "Gr\xC3\xBC\xC3\x9F"
                                                                          "e \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(Codec::decodedString(kernel(), "AEEA"), std::string("\0A\0", 3));
    EXPECT_EQ(Codec::decodedString(kernel(), "/w=="), std::nullopt);
    EXPECT_EQ(Codec::decodedString(kernel(), "w6Q="), "\xC3\xA4");
    EXPECT_EQ(Codec::decodedString(kernel(), "ww=="), std::nullopt);
    EXPECT_EQ(Codec::decodedString(kernel(), "===="), std::nullopt);
    EXPECT_EQ(Codec::decodedString(kernel(), ""), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(With, Decoding, testing::ValuesIn(everyKernel()), kernelName);

} // namespace Quenmark::Base64
