#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Delivery.h"
#include "WebService/Operations/Record.h"

namespace webservice {

// SyncFileChanges.svc: changes in the files of computers.

/// Applies a list of changes. The response is a list of one entry each, in order: "FileID", "ReturnStatus",
/// "BaseSystemFileID", and "error" for a change that fails; the others are applied nevertheless. "ChangeType" is
/// "Created", "Changed", "Renamed" or "Deleted", or its number in .NET's WatcherChangeTypes: 1, 4, 8, 2. More than
/// 10,000 changes are the error "TooMany".
Work<Response> syncFilesInTableAndCloud(const boost::json::value& changes, Database& db, Cloud& cloud,
                                        Delivery& delivery);

/// Adds a file to the computer's table. A path that it has already keeps its "FileID".
boost::json::object insertFile(const Record& request, Database& db, Cloud& cloud, Delivery& delivery);

/// Queues a file of "ComputerID" for the computer "UserComputerID".
boost::json::object insertSharedFilesTransfer(const Record& request, Database& db);

} // namespace webservice
