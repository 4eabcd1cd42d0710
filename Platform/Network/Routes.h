#pragma once

#include <optional>

struct sockaddr;

/// The state of the kernel's links and routes now (rtnetlink(7)). Every result is nil where the request to the kernel
/// fails.
namespace Platform::Routes {

/// Whether an IPv4 or IPv6 default route, of whatever table, leads out of a link that is up and has carrier
/// (IFF_UP, IFF_RUNNING, IFF_LOWER_UP; netdevice(7)).
std::optional<bool> defaultRouteIsUsable();

/// Whether the loopback link is up.
std::optional<bool> loopbackIsUp();

/// How a route leads to an address.
enum class RouteKind { None, Direct, ThroughGateway };

/// Looks up the route to an IPv4 or IPv6 address; unreachable, blackhole and prohibited routes are no route.
std::optional<RouteKind> lookUpRoute(const sockaddr& address);

} // namespace Platform::Routes
