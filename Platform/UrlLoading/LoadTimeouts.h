#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/Queue.h"

#include <chrono>
#include <functional>
#include <optional>

namespace Platform {

/// The two timeouts of a load: the longest time without progress, and of the whole load. They start at the first
/// progress, by the loop's clock, and stand still while the load is suspended.
class LoadTimeouts {
public:
    /// `expired` is called on the main queue.
    LoadTimeouts(std::chrono::duration<double> idle, std::chrono::duration<double> total,
                 std::function<void()> expired);

    void noteProgress();
    void suspend();
    void resume();
    bool areSuspended() const { return suspendedSince_.has_value(); }
    /// Ends both; `expired` is not called any more.
    void stop();

private:
    std::optional<Duration> deadline() const;
    void armTimer();
    void timerFired();

    std::chrono::duration<double> idle_;
    std::chrono::duration<double> total_;
    std::function<void()> expired_;
    /// Nil before the first progress.
    std::optional<Duration> begun_;
    Duration lastProgress_{};
    std::optional<Duration> suspendedSince_;
    Timer timer_;
};

} // namespace Platform
