#include "Platform/Loop/Watchdog.h"

#include "Platform/Loop/RunLoopState.h"
#include "Platform/ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <ctime>

namespace Platform {

Watchdog::Watchdog(const RunLoop& loop) {
    std::uint64_t interval = 0;
    if (sd_watchdog_enabled(0, &interval) <= 0)
        return;
    period_ = interval / 2;
    // An accuracy of half a period is sufficient and lets sd-event coalesce wake-ups.
    checked(
        sd_event_add_time_relative(loop.event(), &timer_, CLOCK_MONOTONIC, period_, period_ / 2, &Watchdog::due, this),
        "sd_event_add_time_relative");
}

Watchdog::~Watchdog() {
    sd_event_source_disable_unref(timer_);
}

int Watchdog::due(sd_event_source* timer, std::uint64_t, void* watchdog) {
    ServiceManager::notify("WATCHDOG=1");
    sd_event_source_set_time_relative(timer, static_cast<Watchdog*>(watchdog)->period_);
    sd_event_source_set_enabled(timer, SD_EVENT_ONESHOT);
    return 0;
}

} // namespace Platform
