#pragma once

#include "WebService/Console/Api.h"

namespace webservice {

/// GET /api/requests: the last requests, the latest first, without their bodies. `search` is looked for in path,
/// operation, computer, status and the kept bodies, in any case of ASCII letters.
Work<Response> listRequests(ApiParts parts, ApiCall call);

/// GET /api/requests/ID: one of them with what is kept of its bodies, and as commands that send it again.
Work<Response> showRequest(ApiParts parts, ApiCall call);

/// DELETE /api/requests: forgets them.
Work<Response> forgetRequests(ApiParts parts, ApiCall call);

} // namespace webservice
