#pragma once

#include "Platform/Error.h"
#include "Platform/UrlLoading/HeaderFields.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <string>
#include <variant>

namespace Platform {

/// The method and header fields of a request, without its target and the framing of its body.
struct RequestHeaders {
    std::string method;
    HeaderFields fields;

    /// The headers of `request`: "User-Agent" first, unless it is set, then the request's own fields, then those of
    /// `additional` that the request does not set. The error is `UrlError::BadUrl` and names what HTTP does not allow.
    static std::variant<RequestHeaders, Error> of(const UrlRequest& request, const HeaderFields& additional);

    /// Whether sending it twice does the same as sending it once (RFC 9110, section 9.2.2).
    bool isIdempotent() const;

    /// Makes these the headers of the request that follows a redirect of that status (RFC 9110, section 15.4), and
    /// returns whether the body is sent again. Fields that are meant for the first origin alone are removed for
    /// another.
    bool redirect(int status, bool toOtherOrigin);
};

/// Whether a response of that status redirects, provided that it has a "Location".
bool isRedirect(int status);

} // namespace Platform
