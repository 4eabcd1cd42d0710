#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <chrono>
#include <optional>

namespace webservice {

/// An exchange that works on the state, in slices of a few milliseconds. Each slice is one transaction: committed when
/// the work pauses or is done, rolled back when the work ends with an exception. Work that waits until its changes are
/// stored goes on in the same step, when they are. Where another process has the database
/// locked, the exchange waits for as long as the database's busy timeout and then fails with DatabaseBusy.
class SlicedExchange : public Exchange {
public:
    /// All slices, one after the other.
    Response finish() final;
    std::optional<Response> step() final;

protected:
    explicit SlicedExchange(State& state) : state_(state) {}

    /// The work, called once the whole body has been received and the events of the outbox have been processed.
    virtual Work<Response> work() = 0;

    /// The response to a request whose work has ended with this error.
    virtual Response errorFrom(const RequestError& error);

    State& state() const { return state_; }

private:
    using Clock = std::chrono::steady_clock;
    bool processOutbox();
    std::optional<Response> runSlice();
    void checkBusyTimeout();

    State& state_;
    std::optional<Clock::time_point> startTime_;
    std::optional<Clock::time_point> lockedSince_;
    bool outboxIsProcessed_ = false;
    std::optional<Job<Response>> job_;
};

} // namespace webservice
