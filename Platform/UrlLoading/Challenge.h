#pragma once

#include "Platform/UrlLoading/UrlRequest.h"

namespace Platform {

/// Whether an answer asks for authentication in a way that can be answered: status 401 and a "WWW-Authenticate" field
/// with a challenge of the scheme Basic, Digest, NTLM or Negotiate (RFC 9110, section 11.6.1).
bool asksForAuthentication(const HttpUrlResponse& response);

} // namespace Platform
