#include "WebService/Http/RequestHead.h"

#include <algorithm>
#include <charconv>

namespace webservice {

namespace {

constexpr std::size_t mostHeaders = 100;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool sameIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lower, lower);
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Whether a comma-separated list has the word, in any case.
bool listHas(std::string_view list, std::string_view word) {
    while (!list.empty()) {
        const std::string_view entry = list.substr(0, list.find(','));
        if (sameIgnoringCase(trimmed(entry), word)) {
            return true;
        }
        list.remove_prefix(std::min(entry.size() + 1, list.size()));
    }
    return false;
}

// RFC 9110, 5.6.2.
bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

// Takes the next line off the text; lines end with CR LF, or LF alone.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

void parseRequestLine(std::string_view line, RequestHead& head) {
    const std::size_t first = line.find(' ');
    const std::size_t last = line.rfind(' ');
    if (first == std::string_view::npos || last == first) {
        throw BadRequest(400, "the request line is malformed");
    }
    head.method = line.substr(0, first);
    head.target = line.substr(first + 1, last - first - 1);
    const std::string_view version = line.substr(last + 1);
    const auto isBad = [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; };
    if (!isToken(head.method) || head.target.empty() || std::ranges::any_of(head.target, isBad)) {
        throw BadRequest(400, "the request line is malformed");
    }
    if (version != "HTTP/1.1" && version != "HTTP/1.0") {
        throw BadRequest(version.starts_with("HTTP/") ? 505 : 400, "only HTTP/1.0 and HTTP/1.1 are spoken here");
    }
    head.keepAlive = version == "HTTP/1.1";
}

void parseField(std::string_view line, RequestHead& head) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !isToken(line.substr(0, colon))) {
        throw BadRequest(400, "a header field is malformed");
    }
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (value.find('\0') != std::string_view::npos || value.find('\r') != std::string_view::npos) {
        throw BadRequest(400, "a header field has a forbidden character");
    }
    if (head.headers.size() == mostHeaders) {
        throw BadRequest(431, "there are too many header fields");
    }
    head.headers.emplace_back(line.substr(0, colon), value);
}

// How the body is framed (RFC 9112, 6.3).
void readFraming(RequestHead& head) {
    bool hasLength = false;
    for (const auto& [name, value] : head.headers) {
        if (sameIgnoringCase(name, "Content-Length")) {
            std::uint64_t length = 0;
            const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), length);
            if (error != std::errc() || end != value.data() + value.size() || (hasLength && length != head.length)) {
                throw BadRequest(400, "the Content-Length is malformed");
            }
            head.length = length;
            hasLength = true;
        } else if (sameIgnoringCase(name, "Transfer-Encoding")) {
            if (head.chunked || !sameIgnoringCase(value, "chunked")) {
                throw BadRequest(501, "the only Transfer-Encoding known here is chunked");
            }
            head.chunked = true;
        } else if (sameIgnoringCase(name, "Connection")) {
            head.keepAlive = head.keepAlive && !listHas(value, "close");
        } else if (sameIgnoringCase(name, "Expect")) {
            if (!sameIgnoringCase(value, "100-continue")) {
                throw BadRequest(417, "the only expectation met here is 100-continue");
            }
            head.expectsContinue = true;
        }
    }
    if (head.chunked && hasLength) {
        throw BadRequest(400, "a body has a Content-Length or a Transfer-Encoding, not both");
    }
}

} // namespace

std::optional<std::string_view> RequestHead::header(std::string_view name) const {
    const auto field =
        std::ranges::find_if(headers, [&](const auto& entry) { return sameIgnoringCase(entry.first, name); });
    return field == headers.end() ? std::nullopt : std::optional<std::string_view>(field->second);
}

std::string_view RequestHead::path() const {
    return std::string_view(target).substr(0, target.find('?'));
}

std::string_view RequestHead::query() const {
    const std::size_t mark = target.find('?');
    return mark == std::string::npos ? std::string_view() : std::string_view(target).substr(mark + 1);
}

RequestHead parseRequestHead(std::string_view text) {
    RequestHead head;
    parseRequestLine(takeLine(text), head);
    for (std::string_view line = takeLine(text); !line.empty(); line = takeLine(text)) {
        parseField(line, head);
    }
    readFraming(head);
    return head;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const std::string_view digits = text.substr(i + 1, 2);
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (error != std::errc() || digits.size() != 2 || end != digits.data() + 2) {
            return std::nullopt;
        }
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
        if (equals == std::string_view::npos || pair.substr(0, equals) != name) {
            continue;
        }
        std::string value(pair.substr(equals + 1));
        std::ranges::replace(value, '+', ' ');
        return percentDecoded(value);
    }
    return std::nullopt;
}

} // namespace webservice
