#include "Services/NetWorkConnectionStatus.h"

#include <netinet/in.h>

#include <utility>

namespace Quenmark {

bool NetWorkConnectionStatus::ConectionStatus(Platform::NetworkSource source) {
    sockaddr_in zeroAddress{};
    zeroAddress.sin_family = AF_INET;
    const auto target =
        Platform::NetworkTarget::createWithAddress(reinterpret_cast<const sockaddr&>(zeroAddress), std::move(source));
    return target && connectionStatusForFlags(target->flags());
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
