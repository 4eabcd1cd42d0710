#include "Services/Base64/Alphabet.h"
#include "Services/Base64/Kernels.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace Quenmark::Base64::Kernels {

namespace {

/// The two characters of each twelve bits.
constexpr std::array<std::array<char, 2>, 4096> characterPairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
        pairs[bits] = {alphabet[bits >> 6], alphabet[bits & 63]};
    }
    return pairs;
}();

/// Set in a table's entry when the character is not one of the alphabet.
constexpr std::uint32_t foreignBit = 1U << 31;

/// For each place in a group of four characters, each character's bits where they stand in the group's 24.
constexpr std::array<std::array<std::uint32_t, 256>, 4> placedSextets = [] {
    std::array<std::array<std::uint32_t, 256>, 4> tables{};
    for (std::size_t place = 0; place < tables.size(); ++place) {
        for (std::size_t character = 0; character < 256; ++character) {
            const std::uint32_t bits = sextetOf[character];
            tables[place][character] = bits < alphabet.size() ? bits << (6 * (3 - place)) : foreignBit;
        }
    }
    return tables;
}();

void encodeGroups(std::span<const std::byte> data, char* text) {
    const std::byte* const end = data.data() + data.size();
    for (const std::byte* in = data.data(); in != end; in += 3, text += 4) {
        const auto bits = std::to_integer<std::uint32_t>(in[0]) << 16 | std::to_integer<std::uint32_t>(in[1]) << 8 |
                          std::to_integer<std::uint32_t>(in[2]);
        std::memcpy(text, characterPairs[bits >> 12].data(), 2);
        std::memcpy(text + 2, characterPairs[bits & 0xFFF].data(), 2);
    }
}

Progress decodeGroups(std::string_view text, std::byte* data) {
    const auto at = [](const char* in, std::size_t place) {
        return placedSextets[place][static_cast<unsigned char>(in[place])];
    };
    const char* in = text.data();
    for (std::size_t groups = text.size() / 4; groups > 0; --groups, in += 4, data += 3) {
        const std::uint32_t bits = at(in, 0) | at(in, 1) | at(in, 2) | at(in, 3);
        if ((bits & foreignBit) != 0) {
            break;
        }
        data[0] = static_cast<std::byte>(bits >> 16);
        data[1] = static_cast<std::byte>(bits >> 8 & 0xFF);
        data[2] = static_cast<std::byte>(bits & 0xFF);
    }
    return {in, data};
}

} // namespace

const Kernel portable = {"portable", encodeGroups, decodeGroups};

} // namespace Quenmark::Base64::Kernels
