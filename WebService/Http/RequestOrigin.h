#pragma once

#include "WebService/Http/Request.h"

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Tells requests of programs and of this service's own pages from those of other pages in a browser, which may send
/// requests to any address and, by a name of their own that resolves to it, read the responses as well (DNS rebinding).
///
/// The error, if there is one: the `Host` of the request is neither the address that the server listens on nor a
/// loopback name or address, at whatever port; it has more than one `Host`; or it has an `Origin` (RFC 6454, section 7)
/// other than "http://", or "https://" over TLS, and its `Host`; or its `Sec-Fetch-Site` (W3C, Fetch Metadata Request
/// Headers), which a browser also sends where it sends no `Origin`, is another one than "same-origin" and "none",
/// unless it opens the page at "/". A request without these fields is a program's.
///
///   listenHost   the host that the server was started with, a name or an address without brackets
///   ownAddress   the local address of this connection
std::optional<std::string> originError(const Request& request, std::string_view listenHost,
                                       std::string_view ownAddress);

} // namespace webservice
