#pragma once

#include "Platform/Error.h"
#include "Platform/UrlLoading/HeaderFields.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <string>
#include <variant>

namespace Platform {

/// What a request says before its body, but for its address and what frames the body.
struct RequestHeaders {
    std::string method;
    HeaderFields fields;

    /// The head of `request`: "User-Agent" first, unless it is set, then the request's own fields, then those of
    /// `additional` that the request does not set. The error is `UrlError::BadUrl` and names what HTTP does not allow.
    static std::variant<RequestHeaders, Error> of(const UrlRequest& request, const HeaderFields& additional);

    /// Whether sending it twice does the same as sending it once (RFC 9110, section 9.2.2).
    bool isIdempotent() const;

    /// Makes this the head of the request that follows a redirect of that status (RFC 9110, section 15.4), and says
    /// whether the body goes with it. Fields that are meant for the first server alone do not go to another one.
    bool redirect(int status, bool toOtherOrigin);
};

/// Whether an answer of that status redirects, provided that it names a place.
bool isRedirect(int status);

} // namespace Platform
