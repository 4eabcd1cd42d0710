#include "WebService/Common/WireName.h"

#include <algorithm>
#include <cstdint>

namespace webservice {

namespace {

/// The number of bytes of the UTF-8 sequence at the beginning of the text; 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80)
        return 1;
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80)
            return 0;
    }
    const bool overlong = (lead == 0xe0 && byte(1) < 0xa0) || (lead == 0xf0 && byte(1) < 0x90);
    const bool outside = (lead == 0xed && byte(1) > 0x9f) || (lead == 0xf4 && byte(1) > 0x8f);
    return overlong || outside ? 0 : length;
}

/// With backslashes only, and none at either end.
std::string bare(std::string_view path) {
    std::string text(path);
    std::ranges::replace(text, '/', '\\');
    text.erase(0, std::min(text.find_first_not_of('\\'), text.size()));
    text.erase(text.find_last_not_of('\\') + 1);
    return text;
}

} // namespace

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

bool isExpressible(std::string_view component) {
    const auto forbidden = [](char c) {
        const auto byte = static_cast<std::uint8_t>(c);
        return c == '\\' || c == '/' || byte < 0x20 || byte == 0x7f;
    };
    return !component.empty() && component != "." && component != ".." && std::ranges::none_of(component, forbidden) &&
           isUtf8(component);
}

std::optional<std::string> wireName(std::string_view path) {
    if (path.size() > maxPathLength || std::ranges::count(path, '/') >= static_cast<std::ptrdiff_t>(maxLevels))
        return std::nullopt;
    std::string name;
    while (true) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view component = path.substr(0, end);
        if (!isExpressible(component))
            return std::nullopt;
        name.append("\\").append(component);
        if (end == path.size())
            return name;
        path.remove_prefix(end + 1);
    }
}

std::string outboxPath(std::string_view name) {
    std::string path(name.substr(name.starts_with('\\') ? 1 : 0));
    std::ranges::replace(path, '\\', '/');
    return path;
}

std::optional<std::string> nameWithin(std::string_view quenmarkPath, std::string_view fullPath) {
    std::string path = bare(fullPath);
    const std::string base = bare(quenmarkPath);
    if (!base.empty() && path.starts_with(base + '\\')) {
        path.erase(0, base.size() + 1);
        if (path.starts_with("Quenmark\\"))
            path.erase(0, std::string_view("Quenmark\\").size());
    }
    return wireName(outboxPath(path));
}

} // namespace webservice
