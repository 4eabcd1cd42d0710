#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Delivery.h"

#include <boost/json.hpp>

namespace webservice {

// The operations of Registration.svc that bring a newly registered computer up to date, once.

/// Every file that owners have shared with the user is shared with this computer too: for every transfer that any
/// computer of the user has or had, one is made for it, unless it has one of that file.
Work<Response> oneTimeSyncOwnersSharedFolders(const boost::json::value& body, Database& db);

/// Delivers everything that the user has in the cloud to this computer.
Work<Response> transferFilesFromCloudToBaseSystem(const boost::json::value& body, Database& db, Cloud& cloud,
                                                  Delivery& delivery);

/// "AllFiles" is the list of all files of the computer: a JSON list of paths or of objects with "FullPath" and, where
/// known, "IsFile", "FileSize", "FileModifiedDate" and "BaseSystemFileID"; or a text with one path a line. A path that
/// ends with a separator is a folder. A new file is treated as created, one with another size or date as changed; a
/// missing one is removed from the table. More than 100,000 entries are the error "TooMany".
Work<Response> oneTimeSyncFiles(const boost::json::value& body, Database& db, Cloud& cloud, Delivery& delivery);

} // namespace webservice
