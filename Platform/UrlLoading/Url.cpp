#include "Platform/UrlLoading/Url.h"

#include "Platform/Ascii.h"
#include "Platform/Network/HostAndPort.h"

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

/// Takes the first bytes from the text, all of them for `npos`.
std::string_view take(std::string_view& text, std::size_t length) {
    const std::string_view taken = text.substr(0, length);
    text.remove_prefix(taken.size());
    return taken;
}

bool isScheme(std::string_view text) {
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char character) {
        return isLetter(character) || isDigit(character) || character == '+' || character == '-' || character == '.';
    });
}

/// The components of a URL (RFC 3986, section 3), as they are written.
struct Components {
    /// Without its colon.
    std::string_view scheme;
    /// With the "//" before it, which tells an empty authority from none.
    std::string_view authority;
    std::string_view path;
    /// With the "?" and "#" before them.
    std::string_view query;
    std::string_view fragment;

    explicit Components(std::string_view text) {
        std::string_view rest = take(text, text.find('#'));
        fragment = text;
        path = take(rest, rest.find('?'));
        query = rest;
        const auto colon = path.find(':');
        if (colon < path.find('/') && isScheme(path.substr(0, colon))) {
            scheme = take(path, colon);
            path.remove_prefix(1);
        }
        if (path.starts_with("//"))
            authority = take(path, path.find('/', 2));
    }

    /// Host and port; nil where their brackets are not closed.
    std::optional<HostAndPort> place() const {
        const std::string_view whole = authority.empty() ? authority : authority.substr(2);
        const auto at = whole.rfind('@');
        return HostAndPort::split(at == npos ? whole : whole.substr(at + 1));
    }
};

/// The path without its segments "." and ".." (RFC 3986, section 5.2.4). It begins with "/".
std::string withoutDotSegments(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::string_view segment = take(path, path.find('/'));
        const bool isParent = segment == "..";
        if (isParent)
            result.resize(std::min(result.rfind('/'), result.size()));
        if (!isParent && segment != ".")
            (result += '/') += segment;
        else if (path.empty())
            result += '/';
    }
    return result;
}

/// The path that a relative one means beside the path of a base (RFC 3986, section 5.2.3).
std::string mergedPath(const Components& base, std::string_view path) {
    if (path.starts_with('/'))
        return withoutDotSegments(path);
    const auto slash = base.path.rfind('/');
    const std::string folder = slash == npos ? "/" : std::string(base.path.substr(0, slash + 1));
    return withoutDotSegments(folder + std::string(path));
}

void appendEscaped(std::string& text, char character) {
    const auto byte = static_cast<unsigned char>(character);
    ((text += '%') += hexadecimalDigits[byte >> 4]) += hexadecimalDigits[byte & 15];
}

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
    const auto place = Components(text).place();
    return brackets == 2 && place && place->isBracketed && !place->host.empty();
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
        if (mayStandInUrl(character) && std::string_view("%?#[];").find(character) == npos)
            text += character;
        else
            appendEscaped(text, character);
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

std::optional<Url> Url::resolve(std::string_view reference) const {
    std::string escaped;
    for (const char character : reference) {
        if (character == ' ' || static_cast<unsigned char>(character) >= 0x80)
            appendEscaped(escaped, character);
        else
            escaped += character;
    }
    const Components base(text_);
    const Components relative(escaped);
    if (!relative.scheme.empty())
        return fromString(escaped);
    std::string result(base.scheme);
    if (!base.scheme.empty())
        result += ':';
    if (!relative.authority.empty()) {
        result += escaped;
    } else if (relative.path.empty()) {
        (result += base.authority) += base.path;
        (result += relative.query.empty() ? base.query : relative.query) += relative.fragment;
    } else {
        (result += base.authority) += mergedPath(base, relative.path);
        (result += relative.query) += relative.fragment;
    }
    return fromString(result);
}

bool Url::hasHost() const {
    const auto place = Components(text_).place();
    return place && !place->host.empty();
}

std::string Url::origin() const {
    const Components components(text_);
    const auto place = components.place().value_or(HostAndPort());
    std::string result = lowerCase(components.scheme);
    const std::string_view usualPort = result == "http" ? "80" : result == "https" ? "443" : "";
    result += "://";
    result += place.isBracketed ? '[' + lowerCase(place.host) + ']' : lowerCase(place.host);
    if (place.port && !place.port->empty() && place.port != usualPort)
        (result += ':') += *place.port;
    return result;
}

} // namespace Platform
