#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/State.h"

namespace webservice {

/// MAC/ErrorLog.svc: keeps and logs what a client reports to have gone wrong. Any key may be missing.
boost::json::object logError(State& state, const Record& request);

} // namespace webservice
