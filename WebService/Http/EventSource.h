#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace webservice {

/// The body of a response that goes on for as long as its client stays connected, made while it is sent.
class EventSource {
public:
    using Clock = std::chrono::steady_clock;

    EventSource() = default;
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    virtual ~EventSource() = default;

    /// Gives what is to be sent now; what it gave before has been sent. Nothing where there is nothing to send yet.
    virtual std::string take(Clock::time_point now) = 0;

    /// How long nothing is to be sent for, unless `wake` is called earlier. Called after take() gave nothing.
    virtual Clock::duration idleTime(Clock::time_point now) const = 0;

    /// Called, on the loop, when there is something to send.
    std::function<void()> wake = [] {};
};

} // namespace webservice
