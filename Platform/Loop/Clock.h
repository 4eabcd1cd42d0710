#pragma once

#include <chrono>

namespace Platform {

/// A length of time, or a point in time counted from a clock's own start.
using Duration = std::chrono::nanoseconds;

/// The source of a run loop's time. It is monotonic.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Duration now() const = 0;
};

/// The machine's monotonic clock, which stops while the machine is suspended (clock_gettime(2),
/// CLOCK_MONOTONIC).
class SystemClock final : public Clock {
public:
    Duration now() const override { return std::chrono::steady_clock::now().time_since_epoch(); }
};

/// A clock that a test advances by hand.
class ManualClock final : public Clock {
public:
    Duration now() const override { return now_; }
    void advance(Duration by) { now_ += by; }

private:
    Duration now_{};
};

} // namespace Platform
