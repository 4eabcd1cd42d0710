#pragma once

#include <string_view>

namespace webservice {

/// The description of the operations: Docs/openapi.json at build time.
std::string_view openApiDocument();

} // namespace webservice
