#pragma once

#include "Tools/Status/ServiceStatus.h"

#include <boost/json/object.hpp>

#include <optional>

namespace Tools {

/// The status for programs; nil is a service that does not run. Members are the names on the bus in lowerCamelCase,
/// times are in ISO 8601 (UTC, to the second).
boost::json::object statusJson(const std::optional<ServiceStatus>& status);

} // namespace Tools
