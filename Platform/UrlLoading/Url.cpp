#include "Platform/UrlLoading/Url.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace Platform {

namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view hexadecimalDigits = "0123456789ABCDEF";
constexpr std::string_view alwaysEscaped = "\"<>\\^`{|} ";

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// The value of a hexadecimal digit, or -1.
int hexadecimalValue(char character) {
    const auto place = hexadecimalDigits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(character))));
    return place == npos ? -1 : static_cast<int>(place);
}

/// Every request asks this of each character of its address.
constexpr std::array<bool, 256> standsInUrl = [] {
    std::array<bool, 256> table{};
    for (std::size_t character = 0x21; character < 0x7F; ++character)
        table[character] = alwaysEscaped.find(static_cast<char>(character)) == npos;
    return table;
}();

bool mayStandInUrl(char character) {
    return standsInUrl[static_cast<unsigned char>(character)];
}

std::string lowerCase(std::string_view string) {
    std::string result(string);
    std::transform(result.begin(), result.end(), result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

/// The components of a URL (RFC 3986, section 3), as they are written.
struct Components {
    std::string_view scheme;
    std::string_view authority;
    std::string_view path;

    explicit Components(std::string_view text) {
        std::string_view rest = text.substr(0, std::min(text.find('?'), text.find('#')));
        const auto colon = rest.find(':');
        if (colon != npos && colon < rest.find('/') && colon > 0 && isLetter(rest[0]) &&
            std::all_of(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(colon), [](char character) {
                return isLetter(character) || isDigit(character) || character == '+' || character == '-' ||
                       character == '.';
            })) {
            scheme = rest.substr(0, colon);
            rest.remove_prefix(colon + 1);
        }
        if (rest.starts_with("//")) {
            rest.remove_prefix(2);
            authority = rest.substr(0, rest.find('/'));
            rest.remove_prefix(authority.size());
        }
        path = rest;
    }

    /// Host and port.
    std::string_view place() const {
        const auto at = authority.rfind('@');
        return at == npos ? authority : authority.substr(at + 1);
    }
};

bool escapesAreWhole(std::string_view text) {
    for (auto at = text.find('%'); at != npos; at = text.find('%', at + 1)) {
        if (at + 2 >= text.size() || hexadecimalValue(text[at + 1]) < 0 || hexadecimalValue(text[at + 2]) < 0)
            return false;
    }
    return true;
}

/// Whether "[" and "]" stand nowhere but around an address in the host, at its start and before the port.
bool bracketsEncloseAddress(std::string_view text) {
    const auto brackets = std::count_if(text.begin(), text.end(), [](char c) { return c == '[' || c == ']'; });
    if (brackets == 0)
        return true;
    const std::string_view place = Components(text).place();
    const auto end = place.find(']');
    return brackets == 2 && place.starts_with('[') && end != npos && end > 1 &&
           (end + 1 == place.size() || place[end + 1] == ':');
}

} // namespace

std::optional<Url> Url::fromString(std::string_view text) {
    if (text.empty() || !std::all_of(text.begin(), text.end(), mayStandInUrl) || !escapesAreWhole(text) ||
        !bracketsEncloseAddress(text))
        return std::nullopt;
    return Url(std::string(text));
}

Url Url::fileUrl(std::string_view path) {
    std::string whole(path);
    std::error_code unknownPlace;
    if (const auto absolute = std::filesystem::absolute(whole, unknownPlace); !unknownPlace)
        whole = absolute.string();
    std::string text = "file://";
    for (const char character : whole) {
        const auto byte = static_cast<unsigned char>(character);
        if (mayStandInUrl(character) && std::string_view("%?#[];").find(character) == npos)
            text += character;
        else
            ((text += '%') += hexadecimalDigits[byte >> 4]) += hexadecimalDigits[byte & 15];
    }
    return Url(std::move(text));
}

std::string Url::scheme() const {
    return lowerCase(Components(text_).scheme);
}

std::string Url::path() const {
    const std::string_view escaped = Components(text_).path;
    std::string result;
    result.reserve(escaped.size());
    for (std::size_t at = 0; at < escaped.size(); ++at) {
        if (escaped[at] == '%') {
            result += static_cast<char>(hexadecimalValue(escaped[at + 1]) * 16 + hexadecimalValue(escaped[at + 2]));
            at += 2;
        } else {
            result += escaped[at];
        }
    }
    return result;
}

bool Url::hasHost() const {
    const std::string_view place = Components(text_).place();
    return !place.empty() && place.front() != ':';
}

std::string Url::origin() const {
    const Components components(text_);
    const std::string scheme = lowerCase(components.scheme);
    std::string place = lowerCase(components.place());
    if (place.ends_with(':'))
        place.pop_back();
    const std::string_view usualPort = scheme == "http" ? ":80" : scheme == "https" ? ":443" : "";
    if (!usualPort.empty() && place.ends_with(usualPort))
        place.resize(place.size() - usualPort.size());
    return scheme + "://" + place;
}

} // namespace Platform
