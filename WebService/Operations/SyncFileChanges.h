#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Delivery.h"
#include "WebService/Operations/Record.h"

namespace webservice {

// SyncFileChanges.svc: what computers tell of changes in their files.

/// A list of changes, answered with a list of one entry each, in order: "FileID", "ReturnStatus", "BaseSystemFileID",
/// and "error" where a change is refused; the others count nevertheless. "ChangeType" is "Created", "Changed",
/// "Renamed" or "Deleted", or its number in .NET's WatcherChangeTypes: 1, 4, 8, 2. More than 10,000 changes are refused
/// with "TooMany".
Work<Response> syncFilesInTableAndCloud(const boost::json::value& changes, Database& db, Cloud& cloud,
                                        Delivery& delivery);

/// Enters a file into the computer's table. A path that is there already keeps its "FileID".
boost::json::object insertFile(const Record& request, Database& db, Cloud& cloud, Delivery& delivery);

/// Queues a file of "ComputerID" for the computer "UserComputerID".
boost::json::object insertSharedFilesTransfer(const Record& request, Database& db);

} // namespace webservice
