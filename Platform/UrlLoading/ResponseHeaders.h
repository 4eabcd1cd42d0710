#pragma once

#include "Platform/UrlLoading/HeaderFields.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Platform {

/// Reads the head of an answer line by line (RFC 9112, sections 4 and 5). Interim answers (status below 200) are read
/// over.
class ResponseHeaders {
public:
    enum class State { Reading, Complete, Malformed };

    /// Takes the next line, with its line feed. What comes after the last line of the head is not looked at.
    State addLine(std::string_view line);

    State state() const { return state_; }
    int statusCode() const { return statusCode_; }
    const HeaderFields& fields() const { return fields_; }
    /// The same, to keep; `fields` is empty from then on.
    HeaderFields takeFields() { return std::move(fields_); }
    /// The length of the body as "Content-Length" tells it; nil where it does not, or where a transfer coding does.
    std::optional<std::uint64_t> contentLength() const { return contentLength_; }
    /// Whether "Transfer-Encoding" names only codings that can be decoded.
    bool hasKnownCoding() const { return hasKnownCoding_; }

private:
    State addStatusLine(std::string_view line);
    State addField(std::string_view line);
    State addEnd();

    State state_ = State::Reading;
    bool atStatusLine_ = true;
    std::size_t bytes_ = 0;
    std::size_t lines_ = 0;
    int statusCode_ = 0;
    HeaderFields fields_;
    /// The value of the last field, which the next line may go on with; null where that was none.
    std::string* open_ = nullptr;
    std::optional<std::uint64_t> contentLength_;
    bool hasKnownCoding_ = true;
};

} // namespace Platform
