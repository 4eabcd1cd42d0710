#pragma once

#include "WebService/Http/Response.h"

#include <optional>
#include <string_view>

namespace webservice {

/// The page of the console at "/", and the two files that it is made of; none for another path. Nothing of it comes
/// from anywhere else, and the browser is told so.
std::optional<Response> consoleFile(std::string_view path);

} // namespace webservice
