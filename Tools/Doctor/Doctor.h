#pragma once

#include "Tools/Doctor/Check.h"
#include "Tools/Status/ServiceStatus.h"

#include <optional>
#include <string>
#include <vector>

namespace Platform {
class RunLoop;
}

namespace Tools {

/// The results of the checks, and what bundles include of their findings.
struct Examination {
    std::vector<Check> checks;
    /// Nil where the service does not run, or does not report its status.
    std::optional<ServiceStatus> status;
    /// The file that the deployment settings come from; "" where there is none, or one cannot be read.
    std::string deploymentFile;
};

/// As `runChecks`.
Examination examine(Platform::RunLoop& loop);

/// Checks everything that the service needs, and launches nothing. Runs the loop for up to some 15 seconds; a
/// response that is missing by then is a result too.
std::vector<Check> runChecks(Platform::RunLoop& loop);

/// Whether no check is a failure.
bool isHealthy(const std::vector<Check>& checks);

/// Prints the checks to standard output as a table, in the width and the colours of the terminal where it is one.
void printChecks(const std::vector<Check>& checks);

} // namespace Tools
