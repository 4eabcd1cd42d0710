#pragma once

#include "Platform/UrlLoading/HeaderFields.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Platform {

/// Reads the status line and header section of a response line by line (RFC 9112, sections 4 and 5). Interim responses
/// (status below 200) are skipped.
class ResponseHeaders {
public:
    enum class State { Reading, Complete, Malformed };

    /// Reads the next line, with its line feed. Lines after the end of the header section are ignored.
    State addLine(std::string_view line);

    State state() const { return state_; }
    int statusCode() const { return statusCode_; }
    const HeaderFields& fields() const { return fields_; }
    /// Moves them out; `fields` is empty from then on.
    HeaderFields takeFields() { return std::move(fields_); }
    /// The length of the body by "Content-Length"; nil without one, or where a transfer coding frames the body.
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
    /// The value of the last field, which a folded line continues; null where the last line was no field.
    std::string* open_ = nullptr;
    std::optional<std::uint64_t> contentLength_;
    bool hasKnownCoding_ = true;
};

} // namespace Platform
