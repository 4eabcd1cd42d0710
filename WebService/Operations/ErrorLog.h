#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

namespace webservice {

/// MAC/ErrorLog.svc: keeps and logs what a client reports to have gone wrong. Any key may be missing.
boost::json::object logError(const Record& request, Database& db);

} // namespace webservice
