#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// The parts of "host" or "host:port" (RFC 3986, sections 3.2.2 and 3.2.3), as views into that text.
struct HostAndPort {
    /// Without the brackets of an IPv6 address.
    std::string_view host;
    bool isBracketed = false;
    /// What follows the colon, which may be empty; nil without a colon.
    std::optional<std::string_view> port;

    /// Splits the text and checks no more than its brackets; nil where one is not closed, or something other than a
    /// port follows it.
    static std::optional<HostAndPort> split(std::string_view text);

    /// Whether the host is an IPv4 address, a name of the domain name system (RFC 1123, section 2.1) or a bracketed
    /// IPv6 address, and the port, where there is a colon, a number from 1 to 65535.
    bool isValid() const;
    /// Whether the host is a loopback name or address ("localhost", a name below it, 127.0.0.0/8, "::1"; RFC 6761,
    /// section 6.3).
    bool isLoopback() const;
};

} // namespace Platform
