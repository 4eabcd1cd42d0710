#include "Platform/UrlLoading/UrlRequest.h"

#include "Platform/Text.h"

namespace Platform {

namespace {

std::string_view description(int code) {
    switch (code) {
    case UrlError::Cancelled:
        return "The request was cancelled";
    case UrlError::BadUrl:
        return "The request has no usable URL or headers";
    case UrlError::TimedOut:
        return "The request timed out";
    case UrlError::UnsupportedUrl:
        return "The URL has an unsupported scheme";
    case UrlError::CannotFindHost:
        return "The host name was not found";
    case UrlError::CannotConnectToHost:
        return "Could not connect to the host";
    case UrlError::NetworkConnectionLost:
        return "The network connection was lost";
    case UrlError::TooManyRedirects:
        return "Too many redirects";
    case UrlError::BadServerResponse:
        return "The response is not HTTP";
    case UrlError::CannotDecodeRawData:
        return "The response's bytes are not in their transfer coding";
    case UrlError::CannotDecodeContentData:
        return "The response's transfer coding is not known";
    case UrlError::SecureConnectionFailed:
        return "No secure connection could be made";
    case UrlError::ServerCertificateUntrusted:
        return "The certificate of the server was not accepted";
    case UrlError::FileDoesNotExist:
        return "The file does not exist or cannot be read";
    case UrlError::DataLengthExceedsMaximum:
        return "The response is too long to be held in memory";
    default:
        return "Loading failed";
    }
}

} // namespace

Error UrlError::make(int code, std::string_view detail) {
    std::string whole(description(code));
    if (!detail.empty())
        (whole += ": ") += detail;
    return Error{domain, code, std::move(whole)};
}

Error UrlError::tooLong(std::uint64_t maximum) {
    constexpr std::uint64_t mebibyte = 1 << 20;
    const bool isEven = maximum % mebibyte == 0;
    return make(DataLengthExceedsMaximum, "more than " + (isEven ? std::to_string(maximum / mebibyte) + " MiB"
                                                                 : std::to_string(maximum) + " bytes"));
}

std::string text(const HttpUrlResponse& response) {
    return (response.url ? response.url->absoluteString() : text(std::nullopt)) + " status " +
           std::to_string(response.statusCode) + ", headers " + text(response.allHeaderFields);
}

} // namespace Platform
