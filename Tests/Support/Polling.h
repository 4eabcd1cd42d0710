#pragma once

#include "Platform/Loop/Clock.h"

#include <chrono>
#include <functional>

namespace TestSupport {

/// Turns the loop until `condition` holds, and says whether it did within `limit` of real time. The condition is looked
/// at every 20 ms at least: for what the loop has no events of, such as files and other processes.
bool pollUntil(const std::function<bool()>& condition, Platform::Duration limit = std::chrono::seconds(60));

} // namespace TestSupport
