#pragma once

#include "Platform/Settings/DeploymentSettings.h"
#include "Tools/Doctor/Check.h"

#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// What the service's settings are, and where each of them comes from.
struct SettingsFindings {
    /// As the service gets them.
    Platform::DeploymentSettings deployment;
    /// The preference quenmarkPathKey; nil where it is not set.
    std::optional<std::string> quenmarkPath;
    /// The file that they come from; "" where there is none, or one cannot be read.
    std::string deploymentFile;
    /// A check for each file, and for each value.
    std::vector<Check> checks;
};

/// Reads the shared preferences and the deployment settings anew.
SettingsFindings examineSettings();

} // namespace Tools
