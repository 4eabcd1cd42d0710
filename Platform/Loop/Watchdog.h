#pragma once

#include <cstdint>

struct sd_event_source;

namespace Platform {

class RunLoop;

/// Sends "WATCHDOG=1" (sd_notify(3)) to the service manager twice per watchdog interval while the loop runs; without it
/// the service manager restarts the service (systemd.service(5), "WatchdogSec="). Does nothing if no watchdog is
/// enabled (sd_watchdog_enabled(3)). Uses real time, whatever the loop's clock.
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
