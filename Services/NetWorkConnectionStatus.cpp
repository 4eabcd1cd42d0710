#include "Services/NetWorkConnectionStatus.h"

#include <utility>

namespace Quenmark {

bool NetWorkConnectionStatus::ConectionStatus(Platform::NetworkSource source) {
    using Platform::NetworkTarget;
    return connectionStatusForFlags(
        NetworkTarget::createWithIPv4Address(NetworkTarget::zeroAddress, std::move(source))->flags());
}

bool NetWorkConnectionStatus::connectionStatusForFlags(std::optional<std::uint32_t> flags) {
    namespace NetworkFlag = Platform::NetworkFlag;
    if (!flags)
        return false;
    const auto isSet = [&](std::uint32_t flag) { return (*flags & flag) != 0; };
    if (!isSet(NetworkFlag::Reachable))
        return false;
    if (!isSet(NetworkFlag::ConnectionRequired))
        return true;
    if (isSet(NetworkFlag::ConnectionOnDemand | NetworkFlag::ConnectionOnTraffic) &&
        !isSet(NetworkFlag::InterventionRequired))
        return true;
    return isSet(NetworkFlag::IsDirect);
}

} // namespace Quenmark
