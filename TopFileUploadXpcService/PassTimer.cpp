#include "TopFileUploadXpcService/PassTimer.h"

#include "Platform/Loop/RunLoop.h"

#include <algorithm>

namespace Quenmark {

using Platform::Queue;
using Platform::RunLoop;

namespace {

/// Tolerance: CLOCK_MONOTONIC and CLOCK_BOOTTIME are read one after the other.
constexpr Platform::Duration clockDifference = std::chrono::milliseconds(100);

Queue background() {
    return Queue::global(Platform::Priority::Background);
}

} // namespace

void PassTimer::begin(Platform::Duration wait) {
    end_ = RunLoop::main().now() + wait;
    suspended_ = RunLoop::main().clock().suspended();
    continueUntilEnd();
}

void PassTimer::endNow() {
    if (isWaiting())
        begin({});
}

void PassTimer::continueUntilEnd() {
    const auto remaining = std::max(end_ - RunLoop::main().now(), Platform::Duration{});
    timer_ = background().timer(std::min(remaining, suspendCheckInterval), [this] {
        const bool wasSuspended = RunLoop::main().clock().suspended() - suspended_ > clockDifference;
        if (!wasSuspended && RunLoop::main().now() < end_)
            continueUntilEnd();
        else
            pass_();
    });
}

} // namespace Quenmark
