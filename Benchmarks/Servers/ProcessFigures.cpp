#include "Servers/ProcessFigures.h"

#include <unistd.h>

#include <fstream>
#include <string>

namespace Benchmarks {

long residentKib(pid_t process) {
    std::ifstream file("/proc/" + (process == 0 ? "self" : std::to_string(process)) + "/smaps_rollup");
    const std::string key = "Rss:";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key))
            return std::stol(line.substr(key.size()));
    }
    return -1;
}

/// The fields 14 and 15 of /proc/PID/stat, in ticks; the name before them may have blanks (proc(5)).
double processorSeconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string skipped;
    std::getline(file, skipped, ')');
    for (int field = 3; field < 14; ++field)
        file >> skipped;
    long user = 0;
    long system = 0;
    file >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

} // namespace Benchmarks
