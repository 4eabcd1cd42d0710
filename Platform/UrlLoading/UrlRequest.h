#pragma once

#include "Platform/Error.h"
#include "Platform/UrlLoading/HeaderFields.h"
#include "Platform/UrlLoading/Url.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// Bytes; no encoding is implied.
using Data = std::string;

/// A request. The fields must be ones that HTTP allows: a name or method that is no token, or a value
/// with a control character other than the tabulator (RFC 9110, sections 5.1 and 5.5), ends loading with
/// `UrlError::BadUrl`, and nothing of the request is sent. "Content-Length" and "Transfer-Encoding" always
/// describe the body that is sent, whatever the fields say.
struct UrlRequest {
    /// Nil where no URL could be formed; loading then ends with `UrlError::BadUrl`.
    std::optional<Url> url;
    /// The method (RFC 9110, section 9).
    std::string httpMethod = "GET";
    /// The fields to send, besides those that every request has.
    HeaderFields headerFields;
    /// The body; nil for a request without one.
    std::optional<Data> httpBody;
    /// The longest time without progress. The shorter one of this and the session's applies.
    std::chrono::duration<double> timeoutInterval = std::chrono::seconds(60);

    /// Replaces a header field.
    void setValueForHTTPHeaderField(std::string_view value, std::string_view field) { headerFields.set(field, value); }
    /// Adds to a header field.
    void addValueForHTTPHeaderField(std::string_view value, std::string_view field) { headerFields.add(field, value); }
};

/// The status and headers of a response: of the last one, where redirects or interim responses preceded it. A field
/// that was received several times has its values joined with ", ". Names and values are text: bytes that are not UTF-8
/// are decoded as ISO-8859-1. Headers of more than 256 KiB or 1000 lines end loading with
/// `UrlError::BadServerResponse`.
struct HttpUrlResponse {
    /// Where the response came from, redirects followed.
    std::optional<Url> url;
    /// The status code (RFC 9110, section 15).
    int statusCode = 0;
    /// The header fields, in the order in which they were received.
    HeaderFields allHeaderFields;
    /// The announced length of the body in bytes; nil where none is announced.
    std::optional<std::uint64_t> expectedContentLength;
};

/// The URL, the status and the header fields over several lines, for the log.
std::string text(const HttpUrlResponse& response);

/// Codes of the errors that loading ends with.
namespace UrlError {
/// The domain of these errors.
inline constexpr const char* domain = "UrlLoading";
/// None of the causes below.
inline constexpr int Unknown = -1;
/// The load was cancelled.
inline constexpr int Cancelled = -999;
/// There is no URL, or it cannot be requested.
inline constexpr int BadUrl = -1000;
/// There was no progress, or no end, in time.
inline constexpr int TimedOut = -1001;
/// The URL's scheme is neither "http" nor "https".
inline constexpr int UnsupportedUrl = -1002;
/// The host's name has no address.
inline constexpr int CannotFindHost = -1003;
/// The host refuses connections, or cannot be reached.
inline constexpr int CannotConnectToHost = -1004;
/// The connection ended before the response was complete.
inline constexpr int NetworkConnectionLost = -1005;
/// More than 16 redirects followed one another.
inline constexpr int TooManyRedirects = -1007;
/// What was received is no HTTP response.
inline constexpr int BadServerResponse = -1011;
/// The body's bytes are not in the content or transfer coding that was announced.
inline constexpr int CannotDecodeRawData = -1015;
/// The body is in a coding that is not known.
inline constexpr int CannotDecodeContentData = -1016;
/// The file to send does not exist.
inline constexpr int FileDoesNotExist = -1100;
/// The response is longer than may be held in memory.
inline constexpr int DataLengthExceedsMaximum = -1103;
/// No secure connection could be made.
inline constexpr int SecureConnectionFailed = -1200;
/// The server's certificate was not accepted.
inline constexpr int ServerCertificateUntrusted = -1202;

/// The error of that code; its description is the code's own text, and `detail` where there is any.
Error make(int code, std::string_view detail = {});
/// `DataLengthExceedsMaximum` for a response of more than `maximum` bytes, which its description names.
Error tooLong(std::uint64_t maximum);
} // namespace UrlError

/// A response that is held in memory may be this long; a longer one ends with `DataLengthExceedsMaximum`.
inline constexpr std::uint64_t maximumDataInMemory = 64ULL << 20;
/// A delegate receives at most this many bytes at a time.
inline constexpr std::size_t maximumDataPiece = 1ULL << 20;

} // namespace Platform
