#pragma once

#include <sys/types.h>

namespace Benchmarks {

/// The resident memory of a process, this one for 0, exactly: what /proc/PID/status says of it is inaccurate (proc(5)).
long residentKib(pid_t process = 0);

/// The processor time that a process has used up to now, in seconds.
double processorSeconds(pid_t process);

} // namespace Benchmarks
