#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

namespace webservice {

/// MAC/ErrorLog.svc: stores and logs an error that a client reports. Any key may be missing.
boost::json::object logError(const Record& request, Database& db);

} // namespace webservice
