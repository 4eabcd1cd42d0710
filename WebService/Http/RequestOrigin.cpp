#include "WebService/Http/RequestOrigin.h"

#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/string.hpp>

#include <algorithm>

namespace webservice {

namespace {

using boost::beast::iequals;
namespace ip = boost::asio::ip;

/// The host of "host:port", "[::1]:port" or either without a port; nothing where the port is malformed.
std::optional<std::string_view> hostOf(std::string_view authority) {
    const std::size_t bracket = authority.starts_with('[') ? authority.find(']') : std::string_view::npos;
    const std::size_t end =
        bracket == std::string_view::npos ? std::min(authority.find(':'), authority.size()) : bracket + 1;
    const std::string_view port = authority.substr(end);
    const bool isPort =
        port.empty() ||
        (port.front() == ':' && std::ranges::all_of(port.substr(1), [](char c) { return c >= '0' && c <= '9'; }));
    if (!isPort)
        return std::nullopt;
    return bracket == std::string_view::npos ? authority.substr(0, end) : authority.substr(1, end - 2);
}

/// An IPv4 address is the same one as an "IPv4-mapped" IPv6 address (RFC 4291, section 2.5.5.2), as which a socket for
/// both versions gives it.
std::optional<ip::address> addressOf(std::string_view host) {
    boost::system::error_code error;
    const auto address = ip::make_address(std::string(host), error);
    if (error)
        return std::nullopt;
    return address.is_v6() && address.to_v6().is_v4_mapped() ? ip::make_address_v4(ip::v4_mapped, address.to_v6())
                                                             : address;
}

/// "localhost" and the names below it are never looked up elsewhere (RFC 6761, section 6.3).
bool isLoopback(std::string_view host) {
    if (host.ends_with('.'))
        host.remove_suffix(1);
    constexpr std::string_view name = "localhost";
    constexpr std::string_view below = ".localhost";
    const auto address = addressOf(host);
    return iequals(host, name) || (address && address->is_loopback()) ||
           (host.size() > below.size() && iequals(host.substr(host.size() - below.size()), below));
}

bool isSameHost(std::string_view host, std::string_view other) {
    const auto address = addressOf(host);
    return iequals(host, other) || (address && address == addressOf(other));
}

} // namespace

std::optional<std::string> originError(const Request& request, std::string_view listenHost,
                                       std::string_view ownAddress) {
    const auto count = [&](std::string_view name) {
        return std::ranges::count_if(request.headers, [&](const auto& field) { return iequals(field.first, name); });
    };
    const auto authority = request.header("Host");
    if (authority) {
        const auto host = hostOf(*authority);
        if (count("Host") > 1 || !host ||
            !(isLoopback(*host) || isSameHost(*host, listenHost) || isSameHost(*host, ownAddress)))
            return "the Host of the request is not this service";
    }
    const auto site = request.header("Sec-Fetch-Site");
    const bool opensThePage = request.method == "GET" && request.target == "/" && !request.header("Origin") &&
                              iequals(request.header("Sec-Fetch-Mode").value_or(""), "navigate");
    if (site && (count("Sec-Fetch-Site") > 1 || !(iequals(*site, "same-origin") || iequals(*site, "none"))) &&
        !opensThePage)
        return "the request comes from another site's page";
    const auto origin = request.header("Origin");
    const std::string own = (request.isSecure ? "https://" : "http://") + std::string(authority.value_or(""));
    if (origin && (count("Origin") > 1 || !authority || !iequals(*origin, own)))
        return "the Origin of the request is not this service";
    return std::nullopt;
}

} // namespace webservice
