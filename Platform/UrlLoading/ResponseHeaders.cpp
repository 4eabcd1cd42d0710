#include "Platform/UrlLoading/ResponseHeaders.h"

#include "Platform/UrlLoading/TransportError.h"
#include "Platform/Utf8.h"

#include <charconv>

namespace Platform {

namespace {

constexpr std::size_t maximumBytes = 256 << 10;
constexpr std::size_t maximumLines = 1000;

std::optional<std::uint64_t> number(std::string_view digits) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

/// The one number that a list consists of, however often it is repeated (RFC 9112, section 6.3).
std::optional<std::uint64_t> repeatedNumber(std::string_view list) {
    std::optional<std::uint64_t> result;
    while (true) {
        const auto comma = std::min(list.find(','), list.size());
        const auto value = number(trimmed(list.substr(0, comma)));
        if (!value || (result && result != value))
            return std::nullopt;
        result = value;
        if (comma == list.size())
            return result;
        list.remove_prefix(comma + 1);
    }
}

/// Bytes of a field as text: UTF-8 where they are that, otherwise ISO-8859-1, which is what fields were in before
/// (RFC 9110, section 5.5). What is converted lies in `converted`.
std::string_view asText(std::string_view bytes, std::string& converted) {
    if (firstInvalidUtf8(bytes) == std::string_view::npos)
        return bytes;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x80)
            converted += static_cast<char>(0xC0U | (code >> 6U));
        converted += static_cast<char>(code >= 0x80 ? 0x80U | (code & 0x3FU) : code);
    }
    return converted;
}

} // namespace

ResponseHeaders::State ResponseHeaders::addLine(std::string_view line) {
    if (state_ != State::Reading)
        return state_;
    bytes_ += line.size();
    if (bytes_ > maximumBytes || ++lines_ > maximumLines)
        return state_ = State::Malformed;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.remove_suffix(1);
    if (atStatusLine_)
        return state_ = addStatusLine(line);
    return state_ = line.empty() ? addEnd() : addField(line);
}

ResponseHeaders::State ResponseHeaders::addStatusLine(std::string_view line) {
    // Behind the protocol's name and version there are three digits.
    const auto blank = line.find(' ');
    const auto code = blank == std::string_view::npos ? 0 : number(line.substr(blank + 1, 3)).value_or(0);
    if (!line.starts_with("HTTP/1.") || code < 100)
        return State::Malformed;
    statusCode_ = static_cast<int>(code);
    fields_ = {};
    atStatusLine_ = false;
    return State::Reading;
}

ResponseHeaders::State ResponseHeaders::addField(std::string_view line) {
    std::string name;
    std::string value;
    if (optionalWhitespace.find(line.front()) != std::string_view::npos) {
        // A folded line continues the field above it (RFC 9112, section 5.2).
        if (open_)
            (*open_ += ' ') += asText(trimmed(line), value);
        return State::Reading;
    }
    const auto colon = line.find(':');
    const bool isField = colon != std::string_view::npos && colon > 0;
    open_ = isField ? &fields_.add(asText(trimmed(line.substr(0, colon)), name),
                                   asText(trimmed(line.substr(colon + 1)), value))
                    : nullptr;
    return State::Reading;
}

ResponseHeaders::State ResponseHeaders::addEnd() {
    open_ = nullptr;
    atStatusLine_ = true;
    if (statusCode_ == 101)
        return State::Malformed; // No request asks for an upgrade.
    if (statusCode_ < 200)
        return State::Reading;
    if (const auto codings = fields_.value("Transfer-Encoding"))
        hasKnownCoding_ = isKnownTransferCoding(*codings);
    if (const auto length = fields_.value("Content-Length"); length && !fields_.has("Transfer-Encoding")) {
        contentLength_ = repeatedNumber(*length);
        if (!contentLength_)
            return State::Malformed;
    }
    return State::Complete;
}

} // namespace Platform
