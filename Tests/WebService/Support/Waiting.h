#pragma once

#include <poll.h>

#include <chrono>
#include <functional>

namespace webservice::test {

/// Looks at the condition every few milliseconds until it holds, and says whether it did within `limit`.
inline bool pollUntil(const std::function<bool()>& condition, std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        ::poll(nullptr, 0, 5);
    }
    return true;
}

} // namespace webservice::test
