#pragma once

#include "Tools/Doctor/Check.h"

#include <vector>

namespace Platform {
class RunLoop;
}

namespace Tools {

/// Checks everything that the service needs, and launches nothing. Turns the loop meanwhile, for some 15 seconds at
/// most: what has not been answered by then is a result too.
std::vector<Check> runChecks(Platform::RunLoop& loop);

/// Whether no check is a failure.
bool isHealthy(const std::vector<Check>& checks);

/// Prints the checks to standard output as a table for people, for the terminal that it is.
void printChecks(const std::vector<Check>& checks);

} // namespace Tools
