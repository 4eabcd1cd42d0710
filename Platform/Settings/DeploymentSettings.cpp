#include "Platform/Settings/DeploymentSettings.h"

#include "Platform/Network/HostAndPort.h"
#include "Platform/Settings/DeploymentReader.h"

namespace Platform {

DeploymentSettings DeploymentSettings::current() {
    static DeploymentReader reader;
    return reader.current();
}

bool DeploymentSettings::hostIsLoopback() const {
    const auto host = HostAndPort::split(serviceHost);
    return host && host->isValid() && host->isLoopback();
}

} // namespace Platform
