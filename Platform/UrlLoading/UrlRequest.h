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

/// The status and headers of a response: of the last one, where redirects or interim responses preceded it. A field
/// that was received several times has its values joined with ", ". Names and values are text: bytes that are not UTF-8
/// are decoded as ISO-8859-1. Headers of more than 256 KiB or 1000 lines end loading with
/// `UrlError::BadServerResponse`.
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
/// A body in a transfer coding that is known, but whose bytes are not in it; and one in a coding that is not known.
inline constexpr int CannotDecodeRawData = -1015;
inline constexpr int CannotDecodeContentData = -1016;
inline constexpr int FileDoesNotExist = -1100;
inline constexpr int DataLengthExceedsMaximum = -1103;
/// No secure connection could be made, or the server's certificate was not accepted.
inline constexpr int SecureConnectionFailed = -1200;
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
