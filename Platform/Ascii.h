#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace Platform {

/// The lower-case letter of an upper-case letter of ASCII; any other character itself, whatever the locale.
constexpr char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// The text with each character in lower case.
inline std::string lowerCase(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char character) { return lowerCase(character); });
    return result;
}

} // namespace Platform
