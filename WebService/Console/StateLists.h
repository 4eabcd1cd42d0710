#pragma once

#include "WebService/Console/Api.h"

namespace webservice {

/// GET /api/service: what this service is.
Work<Response> showService(ApiParts parts, ApiCall call);

/// GET /api/computers: the registered computers by identifier, without those that stand for accounts, and then those
/// that have a queue alone, by name.
Work<Response> listComputers(ApiParts parts, ApiCall call);

/// GET /api/items: the items by identifier; of one `computer` or in one `state` where these are given.
Work<Response> listItems(ApiParts parts, ApiCall call);

} // namespace webservice
