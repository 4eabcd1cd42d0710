#pragma once

#include "Platform/UrlLoading/HeaderFields.h"
#include "Platform/UrlLoading/Url.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace Platform {

/// Bytes; no encoding is implied.
using Data = std::string;

/// What is asked of a server.
struct UrlRequest {
    /// Nil where no URL could be formed; loading then ends with `UrlError::BadUrl`.
    std::optional<Url> url;
    std::string httpMethod = "GET";
    HeaderFields headerFields;
    std::optional<Data> httpBody;
    /// The longest time without progress. The shorter one of this and the session's applies.
    std::chrono::duration<double> timeoutInterval = std::chrono::seconds(60);

    /// Replaces a header field.
    void setValueForHTTPHeaderField(std::string_view value, std::string_view field) { headerFields.set(field, value); }
    /// Adds to a header field.
    void addValueForHTTPHeaderField(std::string_view value, std::string_view field) { headerFields.add(field, value); }
};

/// The head of an HTTP answer.
struct HttpUrlResponse {
    std::optional<Url> url;
    int statusCode = 0;
    HeaderFields allHeaderFields;
    /// The announced length of the body in bytes; nil where none is announced.
    std::optional<std::uint64_t> expectedContentLength;
};

std::string text(const HttpUrlResponse& response);

/// Codes of the errors that loading ends with.
namespace UrlError {
inline constexpr const char* domain = "UrlLoading";
inline constexpr int Unknown = -1;
inline constexpr int Cancelled = -999;
inline constexpr int BadUrl = -1000;
inline constexpr int TimedOut = -1001;
inline constexpr int UnsupportedUrl = -1002;
inline constexpr int CannotFindHost = -1003;
inline constexpr int CannotConnectToHost = -1004;
inline constexpr int NetworkConnectionLost = -1005;
inline constexpr int TooManyRedirects = -1007;
inline constexpr int BadServerResponse = -1011;
inline constexpr int FileDoesNotExist = -1100;
inline constexpr int DataLengthExceedsMaximum = -1103;
} // namespace UrlError

/// An answer that is held in memory may be this long; a longer one ends with `DataLengthExceedsMaximum`.
inline constexpr std::uint64_t maximumDataInMemory = 256ULL << 20;
/// A delegate is handed at most this many bytes at a time.
inline constexpr std::size_t maximumDataPiece = 1ULL << 20;

} // namespace Platform
