#pragma once

#include "Platform/Settings/DeploymentSettings.h"
#include "Services/Reachability/Reachability.h"

#include <functional>

namespace Quenmark {

/// What requests depend on besides their parameters. A default one goes by the deployment settings of the process and
/// by the flags of the kernel, both read anew at each use.
struct ServiceContext {
    /// Gives the host of the service, the release number and the staging directory.
    std::function<Platform::DeploymentSettings()> settings = &Platform::DeploymentSettings::current;
    /// Whether the Internet can be reached now; where it cannot, nothing is sent.
    std::function<bool()> isReachable = &Reachability::isReachable;
};

} // namespace Quenmark
