#pragma once

#include "WebService/Http/Timers.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace webservice::test {

/// A clock that moves on at once by every time that is waited for, or stands still. May be read from any thread.
class RecordedTimers : public Timers {
public:
    explicit RecordedTimers(const boost::asio::any_io_executor& loop) : real_(realTimers(loop)) {}

    /// Whether the clock stands still, from now on.
    void stop(bool isStopped) { isStopped_ = isStopped; }

    /// The times that were waited for, since the last call.
    std::vector<Clock::duration> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(times_, {});
    }

    Clock::time_point now() const override {
        const std::lock_guard lock(mutex_);
        return now_;
    }

    std::unique_ptr<Timer> start(Clock::duration time, std::function<void()> done) override {
        const std::lock_guard lock(mutex_);
        times_.push_back(time);
        if (isStopped_)
            return real_->start(std::chrono::hours(24), std::move(done));
        now_ += time;
        return real_->start(Clock::duration::zero(), std::move(done));
    }

private:
    std::unique_ptr<Timers> real_;
    std::atomic<bool> isStopped_ = false;
    mutable std::mutex mutex_;
    Clock::time_point now_{std::chrono::hours(1)};
    std::vector<Clock::duration> times_;
};

} // namespace webservice::test
