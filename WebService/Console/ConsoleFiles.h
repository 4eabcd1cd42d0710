#pragma once

#include <string_view>

namespace webservice {

// The files of the console, as they were when this was built.

std::string_view consolePage();
std::string_view consoleStyle();
std::string_view consoleScript();

/// The description of the interface below /api/: Docs/console-openapi.json.
std::string_view consoleDocument();

} // namespace webservice
