#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Database.h"

namespace webservice {

/// UpdateSystemTime.svc: a computer's sign of life. "VersionNumber" is the latest that any machine has reported, as a
/// client may compare it with its own; a version counts by its numbers, so 1.10 is later than 1.9.
boost::json::object updateComputerStatus(const Record& request, Database& db);

} // namespace webservice
