#pragma once

#include "WebService/Faults/FaultPlan.h"

#include <string_view>

namespace webservice {

/// In bytes. A longer text is no plan.
constexpr std::size_t maxFaultPlanSize = 1 << 20;

/// The message about a longer one.
constexpr const char* faultPlanIsTooLong = "a plan has at most 1 MiB";

/// Parses a plan; members "seen" and "applied" of a fault are ignored. A plan that is not valid is refused whole:
/// throws RequestError "BadPlan" (400), whose message begins with the place, "faults[0].action.kind: …" or "line 3,
/// column 7: …".
FaultPlan parseFaultPlan(std::string_view json);

} // namespace webservice
