#pragma once

#include "Platform/Settings/DeploymentSettings.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct sockaddr;

namespace Platform {

/// Reachability of an address, as bits.
namespace NetworkFlag {
inline constexpr std::uint32_t Reachable = 0x2;
inline constexpr std::uint32_t ConnectionRequired = 0x4;
inline constexpr std::uint32_t ConnectionOnTraffic = 0x8;
inline constexpr std::uint32_t InterventionRequired = 0x10;
inline constexpr std::uint32_t ConnectionOnDemand = 0x20;
inline constexpr std::uint32_t IsDirect = 0x20000;
} // namespace NetworkFlag

/// What a target reads: by default the kernel's links and routes, and the deployment settings of the process.
struct NetworkSource {
    /// Returns the settings that decide whether the loopback link counts for the zero address.
    std::function<DeploymentSettings()> settings = &DeploymentSettings::current;
    /// Returns a target's flags, or nil where they cannot be read; the kernel's where the function is empty.
    std::function<std::optional<std::uint32_t>()> flags = {};
};

/// The reachability flags of an address or a host, from the kernel's links and routes (rtnetlink(7)).
/// - The zero address 0.0.0.0: Reachable when an IPv4 or IPv6 default route leads out of a link that is up and has
///   carrier (IFF_UP, IFF_RUNNING, IFF_LOWER_UP; netdevice(7)). Where the deployment's service host is a loopback one,
///   the loopback link being up counts too (Reachable, IsDirect).
/// - Any other address, and each address that a host name has: a route look-up. No route, or an unreachable one: no
///   flags; a route: Reachable, and IsDirect when it has no gateway.
class NetworkTarget {
public:
    /// 0.0.0.0, which stands for the Internet.
    static constexpr std::uint32_t zeroAddress = 0;

    /// A target for an IPv4 or IPv6 address; nil for another family.
    static std::unique_ptr<NetworkTarget> createWithAddress(const sockaddr& address, NetworkSource source = {});
    /// A target for an IPv4 address in the host's byte order, such as `zeroAddress`. Never nil.
    static std::unique_ptr<NetworkTarget> createWithIPv4Address(std::uint32_t address, NetworkSource source = {});
    /// A target for a host name or a numeric address; nil for an empty name. The name is looked up at each `flags`.
    static std::unique_ptr<NetworkTarget> createWithName(std::string host, NetworkSource source = {});

    virtual ~NetworkTarget() = default;

    /// The current flags; those of the zero address are read once per turn of the loop. Nil if the kernel cannot be
    /// queried; 0 for a name that cannot be resolved.
    virtual std::optional<std::uint32_t> flags() const = 0;

    /// Calls `callback` with the flags on the main queue whenever links, addresses or routes have changed and the
    /// flags are different from those last seen, until it is replaced by an empty function or the target ends. False
    /// if the kernel's notifications cannot be received.
    virtual bool setCallback(std::function<void(std::uint32_t)> callback) = 0;
};

} // namespace Platform
