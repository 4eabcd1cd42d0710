#include "Support/Polling.h"

#include "Platform/Loop/RunLoop.h"

namespace TestSupport {

bool pollUntil(const std::function<bool()>& condition, Platform::Duration limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        Platform::RunLoop::main().runOnce(std::chrono::milliseconds(20));
    }
    return true;
}

} // namespace TestSupport
