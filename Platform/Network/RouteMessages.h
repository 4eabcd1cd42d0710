#pragma once

#include "Platform/Network/Netlink.h"
#include "Platform/Network/Routes.h"

#include <cstdint>
#include <vector>

/// What the kernel's messages about links and routes say (rtnetlink(7)). Each is given by its type and payload,
/// which are not trusted: a message of another type, or one that is too short, is ignored.
namespace Platform::RouteMessages {

/// Whether a link is up and has carrier (IFF_UP, IFF_RUNNING, IFF_LOWER_UP; netdevice(7)).
bool isLinkUp(std::uint16_t type, Netlink::Bytes payload);

/// Adds the links that a default route leads out of; nothing for another route.
void addLinksOfDefaultRoute(std::uint16_t type, Netlink::Bytes payload, std::vector<int>& links);

/// How a route leads to its destination.
Routes::RouteKind routeKindOf(std::uint16_t type, Netlink::Bytes payload);

} // namespace Platform::RouteMessages
