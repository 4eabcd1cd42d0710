#pragma once

#include "Tools/Status/ServiceStatus.h"

#include <boost/json/object.hpp>

#include <optional>
#include <string>

namespace Tools {

/// A time in ISO 8601: "2026-01-02T03:04:05Z".
std::string isoTime(const Moment& moment);

/// The status for programs; nil is a service that does not run. Members are the names on the bus in lowerCamelCase,
/// times are in ISO 8601 (UTC, to the second).
boost::json::object statusJson(const std::optional<ServiceStatus>& status);

} // namespace Tools
