#pragma once

#include <cstdint>

struct sd_event_source;

namespace Platform {

class RunLoop;

/// Tells the service manager twice in each interval that the loop runs, while it lives (sd_notify(3), "WATCHDOG=1"); a
/// service manager that hears nothing for an interval restarts the service (systemd.service(5), "WatchdogSec="). Does
/// nothing where none watches this process (sd_watchdog_enabled(3)). It goes by real time, whatever the loop's clock.
class Watchdog {
public:
    /// To be made and destroyed on the loop's thread. Throws std::system_error where there is no timer for it.
    explicit Watchdog(const RunLoop& loop);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

private:
    static int due(sd_event_source* timer, std::uint64_t time, void* watchdog);

    /// Half an interval, in microseconds.
    std::uint64_t period_ = 0;
    sd_event_source* timer_ = nullptr;
};

} // namespace Platform
