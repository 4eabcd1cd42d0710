#pragma once

#include "Platform/Loop/Queue.h"

#include <functional>
#include <optional>
#include <utility>

namespace Quenmark {

/// Announces changes, at most one in an interval: the first one at once, later in the same turn of the loop or in the
/// next, and what follows it sooner in one announcement at the interval's end. Used on the loop's thread.
class ChangeThrottle {
public:
    /// `announce` runs on the main queue.
    ChangeThrottle(Platform::Duration interval, std::function<void()> announce)
        : interval_(interval), announce_(std::move(announce)) {}

    /// Something has changed.
    void changed();

private:
    const Platform::Duration interval_;
    const std::function<void()> announce_;
    std::optional<Platform::Duration> last_;
    Platform::Timer timer_;
};

} // namespace Quenmark
