#include "Tools/Reference/Reference.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>

namespace Tools::Reference {

namespace {

bool isUpper(char letter) {
    return std::isupper(static_cast<unsigned char>(letter)) != 0;
}

/// A word begins at a capital that follows a small letter, or that small letters follow.
bool beginsWord(std::string_view name, std::size_t at) {
    return at > 0 && isUpper(name[at]) && (!isUpper(name[at - 1]) || (at + 1 < name.size() && !isUpper(name[at + 1])));
}

} // namespace

std::string encodedPath(std::string_view path) {
    std::string encoded;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            encoded += character;
            continue;
        }
        std::array<char, 4> escape{};
        std::snprintf(escape.data(), escape.size(), "%%%02X", byte);
        encoded += escape.data();
    }
    return encoded;
}

std::string titleOf(std::string_view operationName) {
    constexpr std::string_view prefix = "async";
    if (operationName.starts_with(prefix))
        operationName.remove_prefix(prefix.size());
    std::string title;
    for (std::size_t at = 0; at < operationName.size(); ++at) {
        const char letter = operationName[at];
        const bool begins = beginsWord(operationName, at);
        const bool isAbbreviation =
            at + 1 < operationName.size() && isUpper(operationName[at + 1]) && !beginsWord(operationName, at + 1);
        const bool isInAbbreviation = at > 0 && isUpper(operationName[at - 1]) && !begins;
        if (begins)
            title += ' ';
        const bool keepsCase = isAbbreviation || isInAbbreviation;
        title += keepsCase ? letter : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    if (!title.empty())
        title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
    return title;
}

bool travelsInHeader(std::string_view key) {
    constexpr std::array<std::string_view, 3> keys{"FilePath", "TransitDownloadPath", "FileRequestID"};
    return std::ranges::find(keys, key) != keys.end();
}

} // namespace Tools::Reference
