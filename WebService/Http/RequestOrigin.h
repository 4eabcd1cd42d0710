#pragma once

#include "WebService/Http/RequestHead.h"

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Tells programs and this service's own pages from other pages in a browser, which may send requests to any address
/// and, by a name of their own that leads to it, read the responses as well (DNS rebinding).
///
/// Why a request is to be refused, if it is: its `Host` is neither the address that is listened on nor a loopback name
/// or address, at whatever port; it has more than one `Host`; or it has an `Origin` (RFC 6454, section 7) other than
/// "http://" and its `Host`. A request without these fields is a program's.
///
///   listenHost   the host that was asked to listen on, a name or an address without brackets
///   ownAddress   the address at which this connection came in
std::optional<std::string> refusalOfOrigin(const RequestHead& head, std::string_view listenHost,
                                           std::string_view ownAddress);

} // namespace webservice
