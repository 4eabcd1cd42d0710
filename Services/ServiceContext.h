#pragma once

#include "Platform/Settings/DeploymentSettings.h"
#include "Services/Reachability/Reachability.h"

#include <functional>

namespace Quenmark {

/// What requests depend on besides their parameters. A default one uses the deployment settings of the process and the
/// kernel's flags, each as `DeploymentSettings::current` and `NetworkTarget::flags` give them at each use.
struct ServiceContext {
    /// Returns the host of the service, the release number and the staging directory.
    std::function<Platform::DeploymentSettings()> settings = &Platform::DeploymentSettings::current;
    /// Whether the Internet can be reached now; where it cannot, nothing is sent.
    std::function<bool()> isReachable = &Reachability::isReachable;
};

} // namespace Quenmark
