#include "WebService/Http/Request.h"

#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace webservice {

std::optional<std::string_view> Request::header(std::string_view name) const {
    const auto field =
        std::ranges::find_if(headers, [&](const auto& entry) { return boost::beast::iequals(entry.first, name); });
    return field == headers.end() ? std::nullopt : std::optional<std::string_view>(field->second);
}

std::string_view Request::path() const {
    return std::string_view(target).substr(0, target.find('?'));
}

std::string_view Request::query() const {
    const std::size_t mark = target.find('?');
    return mark == std::string::npos ? std::string_view() : std::string_view(target).substr(mark + 1);
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const std::string_view digits = text.substr(i + 1, 2);
        std::uint8_t byte = 0;
        const char* end = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16).ptr;
        if (end - digits.data() != 2)
            return std::nullopt;
        out += static_cast<char>(byte);
        i += 2;
    }
    return out;
}

std::optional<std::string> queryValue(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
        const std::size_t equals = pair.find('=');
        if (equals == std::string_view::npos || pair.substr(0, equals) != name)
            continue;
        std::string value(pair.substr(equals + 1));
        std::ranges::replace(value, '+', ' ');
        return percentDecoded(value);
    }
    return std::nullopt;
}

} // namespace webservice
