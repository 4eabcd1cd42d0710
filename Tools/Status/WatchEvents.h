#pragma once

#include "Tools/Status/StatusText.h"

#include <boost/json/object.hpp>

#include <optional>
#include <vector>

namespace Tools {

/// What the engines have done between two readings of the status, for programs, one object for each event:
///   {"event":"state", "engine", "state", and where there are any "reason" and "item"}
///   {"event":"progress", "engine", "item", "bytes", and where they are known "total", "bytesPerSecond", "secondsLeft"}
///   {"event":"lost", "engine", "item", "reason", "items"}, of items that were acknowledged and are not in place.
/// An engine that was not there before has an event for its state, and none for what it has lost.
std::vector<boost::json::object> eventsSince(const std::optional<ServiceStatus>& before, const StatusReading& reading);

/// The engines that have lost items since then.
std::vector<EngineStatus> enginesThatLost(const std::optional<ServiceStatus>& before, const StatusReading& reading);

} // namespace Tools
