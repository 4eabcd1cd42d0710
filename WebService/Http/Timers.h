#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <chrono>
#include <functional>
#include <memory>

namespace webservice {

/// The time by which a response is held back on purpose. Tests replace it.
class Timers {
public:
    using Clock = std::chrono::steady_clock;

    /// A time that is being waited for; not any more once it is destroyed.
    class Timer {
    public:
        Timer() = default;
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;
        virtual ~Timer() = default;
    };

    Timers() = default;
    Timers(const Timers&) = delete;
    Timers& operator=(const Timers&) = delete;
    virtual ~Timers() = default;

    virtual Clock::time_point now() const = 0;

    /// Calls `done` on the loop after this time.
    virtual std::unique_ptr<Timer> start(Clock::duration time, std::function<void()> done) = 0;
};

/// Real time, on a loop.
std::unique_ptr<Timers> realTimers(boost::asio::any_io_executor loop);

} // namespace webservice
