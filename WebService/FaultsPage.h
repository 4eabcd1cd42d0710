#pragma once

#include "WebService/Console/Events.h"
#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Exchange.h"

#include <memory>

namespace webservice {

/// /faults: GET gives the plan, PUT replaces it by the body, DELETE clears it; each responds with the plan that is
/// then in force; PUT and DELETE send the event `changed`. Throws RequestError for another method.
std::unique_ptr<Exchange> beginFaults(FaultPlan& plan, Events& events, const Request& request);

} // namespace webservice
