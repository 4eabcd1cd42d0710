#include "Platform/UrlLoading/LoadTimeouts.h"

#include "Platform/Loop/RunLoop.h"

#include <algorithm>
#include <utility>

namespace Platform {

namespace {

Duration toDuration(std::chrono::duration<double> time) {
    // A timeout of a century or more never fires.
    constexpr std::chrono::duration<double> longest = std::chrono::hours(24 * 365 * 100);
    if (!(time < longest))
        return Duration::max();
    return std::max(std::chrono::duration_cast<Duration>(std::max(time, -longest)), Duration::zero());
}

Duration later(Duration time, Duration by) {
    return by > Duration::max() - time ? Duration::max() : time + by;
}

} // namespace

LoadTimeouts::LoadTimeouts(std::chrono::duration<double> idle, std::chrono::duration<double> total,
                           std::function<void()> expired)
    : idle_(idle), total_(total), expired_(std::move(expired)) {}

void LoadTimeouts::noteProgress() {
    lastProgress_ = RunLoop::main().now();
    if (begun_)
        return;
    begun_ = lastProgress_;
    if (suspendedSince_)
        suspendedSince_ = lastProgress_;
    armTimer();
}

void LoadTimeouts::suspend() {
    suspendedSince_ = RunLoop::main().now();
    timer_.cancel();
}

void LoadTimeouts::resume() {
    const Duration suspended = RunLoop::main().now() - *std::exchange(suspendedSince_, std::nullopt);
    if (begun_)
        *begun_ += suspended;
    lastProgress_ += suspended;
    armTimer();
}

void LoadTimeouts::stop() {
    begun_.reset();
    timer_.cancel();
}

std::optional<Duration> LoadTimeouts::deadline() const {
    if (!begun_)
        return std::nullopt;
    const Duration first = std::min(later(*begun_, toDuration(total_)), later(lastProgress_, toDuration(idle_)));
    return first == Duration::max() ? std::nullopt : std::optional(first);
}

/// One timer serves both timeouts, and progress does not move it: when it fires too early, it is set anew.
void LoadTimeouts::armTimer() {
    const auto end = deadline();
    if (end && !suspendedSince_)
        timer_ = Queue::main().timer(*end - RunLoop::main().now(), [this] { timerFired(); });
}

void LoadTimeouts::timerFired() {
    const auto end = deadline();
    if (end && *end <= RunLoop::main().now())
        expired_();
    else
        armTimer();
}

} // namespace Platform
