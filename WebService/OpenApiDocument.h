#pragma once

#include <string_view>

namespace webservice {

/// The description of the operations that stands in Docs/openapi.json, as it was when this was built.
std::string_view openApiDocument();

} // namespace webservice
