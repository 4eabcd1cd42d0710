#pragma once

#include "WebService/Console/Api.h"

namespace webservice {

// Tables of the state, by identifier: GET /api/users and so on.

Work<Response> listUsers(ApiParts parts, ApiCall call);
/// Of one `computer` where that is given.
Work<Response> listFiles(ApiParts parts, ApiCall call);
Work<Response> listFileRequests(ApiParts parts, ApiCall call);
Work<Response> listTransfers(ApiParts parts, ApiCall call);
Work<Response> listMails(ApiParts parts, ApiCall call);
Work<Response> listErrors(ApiParts parts, ApiCall call);

} // namespace webservice
