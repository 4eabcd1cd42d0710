#include "Platform/Network/RouteMessages.h"

#include <linux/if.h>
#include <linux/rtnetlink.h>

namespace Platform::RouteMessages {

using Netlink::Bytes;
using Routes::RouteKind;

namespace {

/// Adds the links of a route that has several (RTA_MULTIPATH).
void addLinksOfMultipath(Bytes hops, std::vector<int>& links) {
    while (const auto hop = Netlink::leading<rtnexthop>(hops)) {
        if (hop->rtnh_len < sizeof *hop || hop->rtnh_len > hops.size())
            return;
        links.push_back(hop->rtnh_ifindex);
        hops = Netlink::after(hops, hop->rtnh_len);
    }
}

} // namespace

bool isLinkUp(std::uint16_t type, Bytes payload) {
    constexpr unsigned needed = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;
    const auto link = Netlink::leading<ifinfomsg>(payload);
    return type == RTM_NEWLINK && link && (link->ifi_flags & needed) == needed;
}

void addLinksOfDefaultRoute(std::uint16_t type, Bytes payload, std::vector<int>& links) {
    const auto route = Netlink::leading<rtmsg>(payload);
    if (type != RTM_NEWROUTE || !route || route->rtm_dst_len != 0 || route->rtm_type != RTN_UNICAST ||
        (route->rtm_flags & RTM_F_CLONED) != 0)
        return;
    Netlink::forEachAttribute(Netlink::after(payload, sizeof *route), [&](std::uint16_t attribute, Bytes value) {
        if (attribute == RTA_OIF)
            links.push_back(Netlink::leading<int>(value).value_or(0));
        else if (attribute == RTA_MULTIPATH)
            addLinksOfMultipath(value, links);
    });
}

RouteKind routeKindOf(std::uint16_t type, Bytes payload) {
    const auto route = Netlink::leading<rtmsg>(payload);
    if (type != RTM_NEWROUTE || !route || route->rtm_type == RTN_UNREACHABLE || route->rtm_type == RTN_BLACKHOLE ||
        route->rtm_type == RTN_PROHIBIT || route->rtm_type == RTN_THROW)
        return RouteKind::None;
    RouteKind kind = RouteKind::Direct;
    Netlink::forEachAttribute(Netlink::after(payload, sizeof *route), [&](std::uint16_t attribute, Bytes) {
        if (attribute == RTA_GATEWAY || attribute == RTA_VIA)
            kind = RouteKind::ThroughGateway;
    });
    return kind;
}

} // namespace Platform::RouteMessages
