#include "Services/Base64/Utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Quenmark::Base64 {

namespace {

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

/// The length of the character that `text` begins with; 0 where it begins with none.
std::size_t characterLength(std::string_view text) {
    const std::uint8_t first = byteAt(text, 0);
    std::uint8_t lowest = 0x80;
    std::uint8_t highest = 0xBF;
    std::size_t length = 0;
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        lowest = first == 0xE0 ? 0xA0 : lowest;   // what is below has a form of two bytes
        highest = first == 0xED ? 0x9F : highest; // what is above are the surrogates
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        lowest = first == 0xF0 ? 0x90 : lowest;   // what is below has a form of three bytes
        highest = first == 0xF4 ? 0x8F : highest; // what is above is beyond U+10FFFF
    }
    if (length == 0 || text.size() < length || byteAt(text, 1) < lowest || byteAt(text, 1) > highest) {
        return 0;
    }
    for (std::size_t index = 2; index < length; ++index) {
        if ((byteAt(text, index) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

/// Whether the next eight bytes are there and all ASCII.
bool beginsWithEightAscii(std::string_view text) {
    std::uint64_t bytes = 0;
    if (text.size() < sizeof bytes) {
        return false;
    }
    std::memcpy(&bytes, text.data(), sizeof bytes);
    return (bytes & 0x8080808080808080) == 0;
}

} // namespace

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = beginsWithEightAscii(text) ? 8 : characterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

} // namespace Quenmark::Base64
