#include "WebService/Http/Timers.h"

#include <boost/asio/steady_timer.hpp>

namespace webservice {

namespace {

/// A handler that was queued before the timer was destroyed still runs, and finds that there is nothing to call.
class LoopTimer : public Timers::Timer {
public:
    LoopTimer(const boost::asio::any_io_executor& loop, Timers::Clock::duration time, std::function<void()> done)
        : done_(std::make_shared<std::function<void()>>(std::move(done))), timer_(loop, time) {
        timer_.async_wait([done = std::weak_ptr(done_)](const boost::system::error_code& error) {
            if (const auto function = done.lock(); function && !error)
                (*function)();
        });
    }

private:
    std::shared_ptr<std::function<void()>> done_;
    boost::asio::steady_timer timer_;
};

class LoopTimers : public Timers {
public:
    explicit LoopTimers(boost::asio::any_io_executor loop) : loop_(std::move(loop)) {}

    Clock::time_point now() const override { return Clock::now(); }

    std::unique_ptr<Timer> start(Clock::duration time, std::function<void()> done) override {
        return std::make_unique<LoopTimer>(loop_, time, std::move(done));
    }

private:
    boost::asio::any_io_executor loop_;
};

} // namespace

std::unique_ptr<Timers> realTimers(boost::asio::any_io_executor loop) {
    return std::make_unique<LoopTimers>(std::move(loop));
}

} // namespace webservice
