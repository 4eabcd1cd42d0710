#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The standard alphabet of RFC 4648, section 4, and its inverse.
namespace Quenmark::Base64 {

inline constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char paddingCharacter = '=';

/// What a character means that is not one of the alphabet's 64.
inline constexpr std::uint8_t paddingMark = 64;
inline constexpr std::uint8_t foreignMark = 0xFF;

/// For each character its six bits, or one of the two marks.
inline constexpr std::array<std::uint8_t, 256> sextetOf = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(foreignMark);
    for (std::size_t sextet = 0; sextet < alphabet.size(); ++sextet) {
        table[static_cast<unsigned char>(alphabet[sextet])] = static_cast<std::uint8_t>(sextet);
    }
    table[static_cast<unsigned char>(paddingCharacter)] = paddingMark;
    return table;
}();

constexpr std::uint8_t sextet(char character) {
    return sextetOf[static_cast<unsigned char>(character)];
}

} // namespace Quenmark::Base64
