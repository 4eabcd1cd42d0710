#include "Services/Reachability/Reachability.h"

#include "Platform/Loop/NotificationCenter.h"

#include <utility>

namespace Quenmark {

namespace {

namespace NetworkFlag = Platform::NetworkFlag;

constexpr const char* sourceFile = "Services/Reachability/Reachability.cpp";

bool isSet(std::uint32_t flags, std::uint32_t flag) {
    return (flags & flag) != 0;
}

} // namespace

ReachabilityAssertion::ReachabilityAssertion(const std::string& message, AssertionPlace place)
    : std::logic_error(message), place_(std::move(place)) {}

void PrintReachabilityFlags(std::uint32_t, const char*) {}

Reachability::Reachability() = default;

Reachability::~Reachability() {
    stopNotifier();
}

std::unique_ptr<Reachability> Reachability::reachabilityWithTarget(std::unique_ptr<Platform::NetworkTarget> target) {
    if (!target)
        return nullptr;
    auto reachability = std::make_unique<Reachability>();
    reachability->reachabilityRef = std::move(target);
    return reachability;
}

std::unique_ptr<Reachability> Reachability::reachabilityWithHostName(const std::string& hostName) {
    return reachabilityWithTarget(Platform::NetworkTarget::createWithName(hostName));
}

std::unique_ptr<Reachability> Reachability::reachabilityWithAddress(const sockaddr* hostAddress) {
    if (hostAddress == nullptr)
        return nullptr;
    return reachabilityWithTarget(Platform::NetworkTarget::createWithAddress(*hostAddress));
}

std::unique_ptr<Reachability> Reachability::reachabilityForInternetConnection(Platform::NetworkSource source) {
    return reachabilityWithTarget(
        Platform::NetworkTarget::createWithIPv4Address(Platform::NetworkTarget::zeroAddress, std::move(source)));
}

std::unique_ptr<Reachability> Reachability::reachabilityForLocalWiFi() {
    constexpr std::uint32_t linkLocalNetwork = 0xA9FE0000; // 169.254.0.0 (RFC 3927)
    return reachabilityForLocalWiFiWithTarget(Platform::NetworkTarget::createWithIPv4Address(linkLocalNetwork));
}

std::unique_ptr<Reachability>
Reachability::reachabilityForLocalWiFiWithTarget(std::unique_ptr<Platform::NetworkTarget> target) {
    auto reachability = reachabilityWithTarget(std::move(target));
    if (reachability)
        reachability->localWiFiRef = true;
    return reachability;
}

bool Reachability::isReachable(Platform::NetworkSource source) {
    const auto internet = reachabilityForInternetConnection(std::move(source));
    return internet && internet->currentReachabilityStatus() != ReachabilityNone;
}

bool Reachability::startNotifier() {
    if (!reachabilityRef)
        return false;
    return reachabilityRef->setCallback([this](std::uint32_t) {
        Platform::NotificationCenter::defaultCenter().post(kNetworkReachabilityChangedNotification, this);
    });
}

void Reachability::stopNotifier() {
    if (reachabilityRef)
        reachabilityRef->setCallback({});
}

ReachabilityStatus Reachability::currentReachabilityStatus() const {
    if (!reachabilityRef)
        throw ReachabilityAssertion("currentNetworkStatus called with NULL reachabilityRef",
                                    {"currentReachabilityStatus", this, sourceFile, 256});
    const auto flags = reachabilityRef->flags();
    if (!flags)
        return ReachabilityNone;
    return localWiFiRef ? localWiFiStatusForFlags(*flags) : networkStatusForFlags(*flags);
}

bool Reachability::connectionRequired() const {
    if (!reachabilityRef)
        throw ReachabilityAssertion("connectionRequired called with NULL reachabilityRef",
                                    {"connectionRequired", this, sourceFile, 245});
    const auto flags = reachabilityRef->flags();
    return flags && isSet(*flags, NetworkFlag::ConnectionRequired);
}

ReachabilityStatus Reachability::networkStatusForFlags(std::uint32_t flags) const {
    PrintReachabilityFlags(flags, "networkStatusForFlags");
    if (!isSet(flags, NetworkFlag::Reachable))
        return ReachabilityNone;
    ReachabilityStatus status = ReachabilityNone;
    if (!isSet(flags, NetworkFlag::ConnectionRequired))
        status = ReachabilityAvailable;
    if (isSet(flags, NetworkFlag::ConnectionOnDemand | NetworkFlag::ConnectionOnTraffic) &&
        !isSet(flags, NetworkFlag::InterventionRequired))
        status = ReachabilityAvailable;
    return status;
}

ReachabilityStatus Reachability::localWiFiStatusForFlags(std::uint32_t flags) const {
    PrintReachabilityFlags(flags, "localWiFiStatusForFlags");
    const bool available = isSet(flags, NetworkFlag::Reachable) && isSet(flags, NetworkFlag::IsDirect);
    return available ? ReachabilityAvailable : ReachabilityNone;
}

} // namespace Quenmark
