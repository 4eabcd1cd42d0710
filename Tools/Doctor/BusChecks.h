#pragma once

#include "Tools/Doctor/BusFindings.h"
#include "Tools/Doctor/Check.h"

#include <string>
#include <vector>

namespace Tools {

/// The checks of the session bus, of how the service is launched and of the running service; `installedVersion` is the
/// version that would be launched, and `mode` the one that the deployment settings name.
std::vector<Check> busChecks(const BusFindings& findings, const std::string& installedVersion, const std::string& mode);

/// The checks of the service's engines; none where it does not tell its status.
std::vector<Check> engineChecks(const BusFindings& findings);

} // namespace Tools
