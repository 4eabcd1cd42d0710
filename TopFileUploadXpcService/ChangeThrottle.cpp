#include "TopFileUploadXpcService/ChangeThrottle.h"

#include "Platform/Loop/RunLoop.h"

namespace Quenmark {

void ChangeThrottle::changed() {
    if (timer_.isScheduled())
        return;
    const auto now = Platform::RunLoop::main().now();
    const auto wait = last_ ? *last_ + interval_ - now : Platform::Duration{};
    timer_ = Platform::Queue::main().timer(wait, [this] {
        last_ = Platform::RunLoop::main().now();
        announce_();
    });
}

} // namespace Quenmark
