#include "Platform/Loop/Clock.h"

#include <ctime>

namespace Platform {

Duration SystemClock::suspended() const {
    timespec sinceStart{};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceStart);
    return std::chrono::seconds(sinceStart.tv_sec) + std::chrono::nanoseconds(sinceStart.tv_nsec) - now();
}

} // namespace Platform
