#pragma once

#include "Servers/Processors.h"

#include <string>
#include <vector>

namespace Benchmarks {

/// What a process took from its start to its end.
struct Figures {
    double wall = 0;
    double cpu = 0;
    long peakKib = 0;
};

/// Runs a command on those processors. Ends this program where the command fails.
Figures measure(const cpu_set_t& processors, const std::vector<std::string>& command);

/// How long the loop of this process has been away from waiting for events at most, in milliseconds: the longest time
/// that anything else had to wait for it.
double longestTurnMilliseconds();

} // namespace Benchmarks
