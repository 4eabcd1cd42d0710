#include "Platform/Printable.h"

#include "Platform/Utf8.h"

#include <algorithm>

namespace Platform {

namespace {

/// How many bytes the control character or separator at the start of a text has in UTF-8; 0 where there is none.
std::size_t controlLength(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x20 || byte(0) == 0x7F)
        return 1;
    if (byte(0) == 0xC2 && byte(1) < 0xA0)
        return 2;
    return text.starts_with("\u2028") || text.starts_with("\u2029") ? 3 : 0;
}

void appendEscaped(std::string& result, std::string_view bytes) {
    constexpr std::string_view hexDigits = "0123456789ABCDEF";
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        (((result += "\\x") += hexDigits[byte >> 4]) += hexDigits[byte & 15]);
    }
}

bool isPlain(char character) {
    return character >= ' ' && character != '\x7F';
}

/// Appends well-formed UTF-8.
void appendText(std::string& result, std::string_view text, std::string_view kept) {
    while (!text.empty()) {
        const auto* const special = std::find_if_not(text.begin(), text.end(), isPlain);
        const auto plain = static_cast<std::size_t>(special - text.begin());
        result.append(text, 0, plain);
        text.remove_prefix(plain);
        if (text.empty())
            return;
        const bool isKept = kept.find(text.front()) != std::string_view::npos;
        const std::size_t length = isKept ? 0 : controlLength(text);
        if (length == 0)
            result += text.front();
        else
            appendEscaped(result, text.substr(0, length));
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
}

std::string escaped(std::string_view text, std::string_view kept) {
    std::string result;
    result.reserve(text.size() + 64);
    while (!text.empty()) {
        const std::string_view good = text.substr(0, firstInvalidUtf8(text));
        appendText(result, good, kept);
        text.remove_prefix(good.size());
        appendEscaped(result, text.substr(0, 1));
        text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    }
    return result;
}

} // namespace

std::string printable(std::string_view text) {
    return escaped(text, "");
}

std::string printableLines(std::string_view text) {
    return escaped(text, "\n\t");
}

} // namespace Platform
