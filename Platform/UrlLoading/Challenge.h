#pragma once

#include "Platform/UrlLoading/UrlRequest.h"

namespace Platform {

/// Whether a response asks for authentication by a known scheme: status 401 and a "WWW-Authenticate" field
/// with a challenge of the scheme Basic, Digest, NTLM or Negotiate (RFC 9110, section 11.6.1).
bool asksForAuthentication(const HttpUrlResponse& response);

} // namespace Platform
