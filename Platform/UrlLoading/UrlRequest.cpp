#include "Platform/UrlLoading/UrlRequest.h"

#include "Platform/Text.h"

namespace Platform {

std::string text(const HttpUrlResponse& response) {
    return (response.url ? response.url->absoluteString() : text(std::nullopt)) + " status " +
           std::to_string(response.statusCode) + ", headers " + text(response.allHeaderFields);
}

} // namespace Platform
