#pragma once

#include <chrono>

namespace Platform {

/// A length of time, or a point in time counted from a clock's own start.
using Duration = std::chrono::nanoseconds;

/// The source of a run loop's time. It is monotonic.
class Clock {
public:
    virtual ~Clock() = default;
    /// The time since some moment that stays the same.
    virtual Duration now() const = 0;
    /// How long the machine has been suspended since it was started.
    virtual Duration suspended() const = 0;
};

/// The machine's monotonic clock, which stops while the machine is suspended (clock_gettime(2),
/// CLOCK_MONOTONIC).
class SystemClock final : public Clock {
public:
    /// By CLOCK_MONOTONIC.
    Duration now() const override { return std::chrono::steady_clock::now().time_since_epoch(); }
    /// By CLOCK_BOOTTIME, which goes on meanwhile. The two clocks are read one after the other.
    Duration suspended() const override;
};

/// A clock that a test advances by hand.
class ManualClock final : public Clock {
public:
    /// How far the clock was advanced.
    Duration now() const override { return now_; }
    Duration suspended() const override { return suspended_; }
    /// Lets that time pass. A loop on this clock notices at its next turn.
    void advance(Duration by) { now_ += by; }
    /// The machine is suspended for that time.
    void suspend(Duration by) { suspended_ += by; }

private:
    Duration now_{};
    Duration suspended_{};
};

} // namespace Platform
