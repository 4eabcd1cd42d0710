#pragma once

#include "WebService/Console/Console.h"
#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <memory>

namespace webservice {

/// The console: its page and the interface below /api/. Null when the path is none of these. Throws RequestError.
std::unique_ptr<Exchange> beginConsole(Console& console, State& state, FaultPlan& plan, const Request& request);

} // namespace webservice
