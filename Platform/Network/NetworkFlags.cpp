#include "Platform/Network/NetworkFlags.h"

#include "Platform/Loop/RunLoop.h"
#include "Platform/Network/Netlink.h"
#include "Platform/Network/Routes.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cstring>
#include <utility>

namespace Platform {

namespace {

using Flags = std::optional<std::uint32_t>;
using FlagSource = std::function<Flags()>;
using SettingsSource = std::function<DeploymentSettings()>;

Flags readInternetFlags(bool loopbackCounts) {
    if (loopbackCounts) {
        const auto up = Routes::loopbackIsUp();
        if (!up)
            return std::nullopt;
        if (*up)
            return NetworkFlag::Reachable | NetworkFlag::IsDirect;
    }
    const auto usable = Routes::defaultRouteIsUsable();
    if (!usable)
        return std::nullopt;
    return *usable ? NetworkFlag::Reachable : 0;
}

/// The flags of the zero address, cached until the kernel notifies of a change: reading notifications costs far less
/// than a new request. One for each loop, for its thread alone.
class KnownInternetFlags {
public:
    explicit KnownInternetFlags(RunLoop&) {}

    /// Checks for changes once per turn of the loop; an idle pass calls this twice.
    Flags now(bool loopbackCounts) {
        const auto turn = RunLoop::currentTurn();
        if (turn && turn == lastCheckedTurn_ && loopbackCounts == loopbackCounts_)
            return flags_;
        lastCheckedTurn_ = turn;
        if (changes_.descriptor() < 0 || changes_.takeChanges() || loopbackCounts != loopbackCounts_)
            flags_.reset();
        loopbackCounts_ = loopbackCounts;
        if (!flags_)
            flags_ = readInternetFlags(loopbackCounts);
        return flags_;
    }

private:
    Netlink::ChangeSocket changes_;
    std::optional<std::uint64_t> lastCheckedTurn_;
    bool loopbackCounts_ = false;
    Flags flags_;
};

Flags internetFlags(const SettingsSource& settings) {
    const bool loopbackCounts = settings().hostIsLoopback();
    if (!RunLoop::isCurrentThread())
        return readInternetFlags(loopbackCounts);
    return RunLoop::main().attachment<KnownInternetFlags>().now(loopbackCounts);
}

bool isZeroAddress(const sockaddr& address) {
    return address.sa_family == AF_INET &&
           reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr == htonl(INADDR_ANY);
}

Flags flagsOfAddress(const sockaddr& address, const SettingsSource& settings) {
    if (isZeroAddress(address))
        return internetFlags(settings);
    const auto kind = Routes::lookUpRoute(address);
    if (!kind)
        return std::nullopt;
    switch (*kind) {
    case Routes::RouteKind::Direct:
        return NetworkFlag::Reachable | NetworkFlag::IsDirect;
    case Routes::RouteKind::ThroughGateway:
        return NetworkFlag::Reachable;
    case Routes::RouteKind::None:
        break;
    }
    return 0;
}

/// The flags of the first address of the name that has a route.
Flags flagsOfName(const std::string& host, const SettingsSource& settings) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &found) != 0)
        return 0;
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, ::freeaddrinfo);
    for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
        if (one->ai_family != AF_INET && one->ai_family != AF_INET6)
            continue;
        const auto flags = flagsOfAddress(*one->ai_addr, settings);
        if (!flags || *flags != 0)
            return flags;
    }
    return 0;
}

/// Watches the kernel's notifications for one target, and calls back with flags that have changed.
class Follower : public std::enable_shared_from_this<Follower> {
public:
    Follower(FlagSource source, std::function<void(std::uint32_t)> callback)
        : source_(std::move(source)), callback_(std::move(callback)) {}

    bool start() {
        if (changes_.descriptor() < 0)
            return false;
        // The flags are read after the watch has begun, so that no change in between is missed.
        watch_ = RunLoop::main().watch(changes_.descriptor(), EPOLLIN, [this](std::uint32_t) { changed(); });
        seen_ = source_();
        return true;
    }

private:
    void changed() {
        if (!changes_.takeChanges() || std::exchange(pending_, true))
            return;
        Queue::main().async([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->compare();
        });
    }

    void compare() {
        pending_ = false;
        const auto flags = source_();
        if (!flags || flags == seen_)
            return;
        seen_ = flags;
        callback_(*flags);
    }

    FlagSource source_;
    std::function<void(std::uint32_t)> callback_;
    Netlink::ChangeSocket changes_;
    std::unique_ptr<DescriptorWatch> watch_;
    Flags seen_;
    bool pending_ = false;
};

class Target final : public NetworkTarget {
public:
    explicit Target(FlagSource source) : source_(std::move(source)) {}

    Flags flags() const override { return source_(); }

    bool setCallback(std::function<void(std::uint32_t)> callback) override {
        follower_.reset();
        if (!callback)
            return true;
        if (!RunLoop::exists())
            return false;
        auto follower = std::make_shared<Follower>(source_, std::move(callback));
        if (!follower->start())
            return false;
        follower_ = std::move(follower);
        return true;
    }

private:
    FlagSource source_;
    // The task that compares the flags holds it while the callback runs, which may end this target.
    std::shared_ptr<Follower> follower_;
};

} // namespace

std::unique_ptr<NetworkTarget> NetworkTarget::createWithAddress(const sockaddr& address, NetworkSource source) {
    if (address.sa_family != AF_INET && address.sa_family != AF_INET6)
        return nullptr;
    if (source.flags)
        return std::make_unique<Target>(std::move(source.flags));
    sockaddr_storage copy{};
    std::memcpy(&copy, &address, address.sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6));
    return std::make_unique<Target>([copy, settings = std::move(source.settings)] {
        return flagsOfAddress(reinterpret_cast<const sockaddr&>(copy), settings);
    });
}

std::unique_ptr<NetworkTarget> NetworkTarget::createWithIPv4Address(std::uint32_t address, NetworkSource source) {
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    socketAddress.sin_addr.s_addr = htonl(address);
    return createWithAddress(reinterpret_cast<const sockaddr&>(socketAddress), std::move(source));
}

std::unique_ptr<NetworkTarget> NetworkTarget::createWithName(std::string host, NetworkSource source) {
    if (host.empty() || host.find('\0') != std::string::npos)
        return nullptr;
    if (source.flags)
        return std::make_unique<Target>(std::move(source.flags));
    return std::make_unique<Target>(
        [host = std::move(host), settings = std::move(source.settings)] { return flagsOfName(host, settings); });
}

} // namespace Platform
