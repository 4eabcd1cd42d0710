#pragma once

#include "WebService/Http/Request.h"
#include "WebService/Storage/Database.h"

#include <boost/json.hpp>

#include <optional>
#include <string>

namespace webservice {

/// The computer that sends a request of an operation: the one that it names as its sender or as itself, or else the one
/// that the item, the content or the deletion that it names is for. A list counts as its first entry. None where the
/// request does not tell. `body` is null where the body is not JSON.
std::optional<std::string> computerOf(Database& db, const Request& request, const boost::json::value* body);

} // namespace webservice
