#include "Services/NetWorkConnectionStatus.h"

#include "Platform/NetworkFlags.h"

#include <netinet/in.h>

namespace Quenmark {

bool NetWorkConnectionStatus::ConectionStatus() {
    namespace NetworkFlag = Platform::NetworkFlag;
    sockaddr_in zeroAddress{};
    zeroAddress.sin_family = AF_INET;
    const auto target = Platform::NetworkTarget::createWithAddress(reinterpret_cast<const sockaddr&>(zeroAddress));
    if (!target)
        return false;
    const auto flags = target->flags();
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
