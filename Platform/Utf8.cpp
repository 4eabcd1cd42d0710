#include "Platform/Utf8.h"

#include <cstdint>
#include <cstring>

namespace Platform {

namespace {

/// The length of the well-formed sequence at the start of a text that is not empty (Unicode, table 3-7), or 0.
std::size_t sequenceLength(std::string_view string) {
    const auto byte = [&](std::size_t at) -> std::uint8_t {
        return at < string.size() ? static_cast<std::uint8_t>(string[at]) : 0;
    };
    const auto within = [&](std::size_t at, std::uint8_t low, std::uint8_t high) {
        return byte(at) >= low && byte(at) <= high;
    };
    const auto trail = [&](std::size_t at) { return within(at, 0x80, 0xBF); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return trail(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const bool second = within(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF);
        return second && trail(2) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool second = within(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF);
        return second && trail(2) && trail(3) ? 4 : 0;
    }
    return 0;
}

bool beginsWithEightAscii(std::string_view string) {
    std::uint64_t bytes = 0;
    if (string.size() < sizeof bytes)
        return false;
    std::memcpy(&bytes, string.data(), sizeof bytes);
    return (bytes & 0x8080808080808080) == 0;
}

} // namespace

std::size_t firstInvalidUtf8(std::string_view string) {
    std::size_t at = 0;
    while (at < string.size()) {
        const auto rest = string.substr(at);
        const std::size_t length = beginsWithEightAscii(rest) ? 8 : sequenceLength(rest);
        if (length == 0)
            return at;
        at += length;
    }
    return std::string_view::npos;
}

} // namespace Platform
