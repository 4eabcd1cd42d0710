#pragma once

#include "WebService/Console/Api.h"

namespace webservice {

/// POST /api/items/ID/withdraw: withdraws a pending item, also while it is being sent. A file leaves the outbox; so
/// does a folder with nothing in it, while one with something in it stays, without being offered. RequestError
/// "UnknownItem" and "NotPending".
Work<Response> withdrawItem(ApiParts parts, ApiCall call);

/// POST /api/items/ID/offer: offers what the outbox has in the place of an acknowledged or withdrawn item, as a new
/// item. RequestError "UnknownItem", "AlreadyPending" where it is offered as it is, and "NoContent" where there is
/// nothing in its place.
Work<Response> offerItem(ApiParts parts, ApiCall call);

/// POST /api/computers/COMPUTER/clear: withdraws every item of the computer that is pending when this begins.
Work<Response> clearComputer(ApiParts parts, ApiCall call);

/// POST /api/reset: removes everything that the service holds, the fault plan and the noted requests included, except
/// for the last identifiers, which go on.
Work<Response> resetService(ApiParts parts, ApiCall call);

} // namespace webservice
