#pragma once

#include "Platform/Loop/Queue.h"

#include <functional>

namespace Quenmark {

/// The wait before the next pass. Ends when its time is over, soon after a resume from suspend, or by `endNow`.
class PassTimer {
public:
    /// `pass` runs at the end of each wait, on the global background queue.
    void setPass(std::function<void()> pass) { pass_ = std::move(pass); }

    /// Starts a wait, replacing a pending one.
    void begin(Platform::Duration wait);
    /// Ends the wait, where there is one: the pass runs next.
    void endNow();
    /// Ends the wait without a pass.
    void cancel() { timer_.cancel(); }
    bool isWaiting() const { return timer_.isScheduled(); }

    /// A suspend is noticed after at most this time.
    static constexpr Platform::Duration suspendCheckInterval = std::chrono::seconds(2);

private:
    void continueUntilEnd();

    std::function<void()> pass_;
    Platform::Timer timer_;
    Platform::Duration end_{};
    /// How long the machine had been suspended when the wait began.
    Platform::Duration suspended_{};
};

} // namespace Quenmark
