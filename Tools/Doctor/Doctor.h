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

/// What an examination found, and what it was found by.
struct Examination {
    std::vector<Check> checks;
    /// Nil where the service does not run, or does not tell its status.
    std::optional<ServiceStatus> status;
    /// The file that the deployment settings come from; "" where there is none, or one cannot be read.
    std::string deploymentFile;
};

/// As `runChecks`.
Examination examine(Platform::RunLoop& loop);

/// Checks everything that the service needs, and launches nothing. Turns the loop meanwhile, for some 15 seconds at
/// most: what has not been answered by then is a result too.
std::vector<Check> runChecks(Platform::RunLoop& loop);

/// Whether no check is a failure.
bool isHealthy(const std::vector<Check>& checks);

/// Prints the checks to standard output as a table for people, for the terminal that it is.
void printChecks(const std::vector<Check>& checks);

} // namespace Tools
