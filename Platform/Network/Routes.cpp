#include "Platform/Network/Routes.h"

#include "Platform/Network/Netlink.h"
#include "Platform/Network/RouteMessages.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace Platform::Routes {

namespace {

using Netlink::Bytes;

/// Linux gives this number to the loopback link of every network namespace.
constexpr int loopbackLink = 1;
/// How often a dump is repeated because the tables changed meanwhile; the last one is used as it is.
constexpr int dumpAttempts = 8;

template <class Value>
Bytes bytesOf(const Value& value) {
    return std::as_bytes(std::span(&value, 1));
}

/// Whether a link is up and has carrier. A link that is not there is not.
std::optional<bool> linkIsUp(Netlink::Socket& socket, int index) {
    ifinfomsg fixed{};
    fixed.ifi_family = AF_UNSPEC;
    fixed.ifi_index = index;
    Netlink::Request request(RTM_GETLINK, 0, fixed);
    const std::uint32_t withoutCounters = RTEXT_FILTER_SKIP_STATS;
    request.addAttribute(IFLA_EXT_MASK, bytesOf(withoutCounters));
    bool up = false;
    bool interrupted = false;
    const int error = socket.exchange(
        request, [&](std::uint16_t type, Bytes payload) { up = RouteMessages::isLinkUp(type, payload); }, interrupted);
    if (error == ENODEV)
        return false;
    return error == 0 ? std::optional(up) : std::nullopt;
}

/// The links of all default routes of a family, each once. A family that the kernel does not have has none.
std::optional<std::vector<int>> linksOfDefaultRoutes(Netlink::Socket& socket, int family) {
    rtmsg fixed{};
    fixed.rtm_family = static_cast<std::uint8_t>(family);
    fixed.rtm_type = RTN_UNICAST; // Keeps the kernel from sending the local and broadcast routes.
    Netlink::Request request(RTM_GETROUTE, NLM_F_DUMP, fixed);
    std::vector<int> links;
    int error = 0;
    bool interrupted = true;
    for (int attempt = 0; attempt < dumpAttempts && interrupted && error == 0; ++attempt) {
        links.clear();
        error = socket.exchange(
            request,
            [&](std::uint16_t type, Bytes payload) { RouteMessages::addLinksOfDefaultRoute(type, payload, links); },
            interrupted);
    }
    if (error != 0 && error != EOPNOTSUPP && error != EAFNOSUPPORT)
        return std::nullopt;
    std::sort(links.begin(), links.end());
    links.erase(std::unique(links.begin(), links.end()), links.end());
    return links;
}

/// Whether an error of a look-up means that there is no route, and not that the look-up failed.
bool meansNoRoute(int error) {
    switch (error) {
    case ENETUNREACH:  // no route, or IPv4's "unreachable" network
    case EHOSTUNREACH: // "unreachable"
    case EACCES:       // "prohibit"
    case EINVAL:       // "blackhole"
    case EAFNOSUPPORT:
    case EOPNOTSUPP: // a family that the kernel does not have
        return true;
    default:
        return false;
    }
}

Netlink::Request lookUp(const sockaddr& address) {
    rtmsg fixed{};
    fixed.rtm_family = static_cast<std::uint8_t>(address.sa_family);
    const bool four = address.sa_family == AF_INET;
    fixed.rtm_dst_len = four ? 32 : 128;
    Netlink::Request request(RTM_GETROUTE, 0, fixed);
    if (four) {
        request.addAttribute(RTA_DST, bytesOf(reinterpret_cast<const sockaddr_in&>(address).sin_addr));
        return request;
    }
    const auto& six = reinterpret_cast<const sockaddr_in6&>(address);
    request.addAttribute(RTA_DST, bytesOf(six.sin6_addr));
    if (six.sin6_scope_id != 0)
        request.addAttribute(RTA_OIF, bytesOf(six.sin6_scope_id));
    return request;
}

} // namespace

std::optional<bool> defaultRouteIsUsable() {
    Netlink::Socket socket;
    for (const int family : {AF_INET, AF_INET6}) {
        const auto links = linksOfDefaultRoutes(socket, family);
        if (!links)
            return std::nullopt;
        for (const int link : *links) {
            const auto up = linkIsUp(socket, link);
            if (!up || *up)
                return up;
        }
    }
    return false;
}

std::optional<bool> loopbackIsUp() {
    Netlink::Socket socket;
    return linkIsUp(socket, loopbackLink);
}

std::optional<RouteKind> lookUpRoute(const sockaddr& address) {
    Netlink::Socket socket;
    Netlink::Request request = lookUp(address);
    RouteKind kind = RouteKind::None;
    bool interrupted = false;
    const int error = socket.exchange(
        request, [&](std::uint16_t type, Bytes payload) { kind = RouteMessages::routeKindOf(type, payload); },
        interrupted);
    if (error == 0 || meansNoRoute(error))
        return error == 0 ? kind : RouteKind::None;
    return std::nullopt;
}

} // namespace Platform::Routes
