#pragma once

#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Exchange.h"
#include "WebService/OperationTable.h"
#include "WebService/Storage/Database.h"

#include <memory>

namespace webservice {

/// The exchange of an operation's request, with the fault that the plan applies to it. The request is counted once its
/// body has been received.
std::unique_ptr<Exchange> withFaults(FaultPlan& plan, Database& db, const Operation& operation, const Request& request,
                                     std::unique_ptr<Exchange> exchange);

} // namespace webservice
