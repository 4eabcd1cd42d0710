#pragma once

#include "Tools/Status/ServiceStatus.h"

#include <optional>
#include <string>
#include <string_view>

namespace Tools {

/// What to do where a service does not run, or no engine of it has been started.
inline constexpr const char* adviceToStart = "Run: quenmark start";

/// Text from outside as part of a line: without control characters, and the beginning of a long one.
std::string shown(std::string_view text);

/// One sentence that says what is wrong with an engine and what to do; nil where nothing is. `serviceRoot` is the
/// web service's address.
std::optional<std::string> adviceOn(const EngineStatus& engine, const std::string& serviceRoot);
/// As above, on items that were acknowledged and are not in place; nil where there are none.
std::optional<std::string> adviceOnLostItems(const EngineStatus& engine);

} // namespace Tools
