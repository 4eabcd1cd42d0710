#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Delivery.h"

#include <boost/json.hpp>

namespace webservice {

// The operations of Registration.svc that bring a newly registered computer up to date, once.

/// Every file that owners have shared with the user goes to this computer too: a transfer that any computer of the
/// user has or had is made for it, unless it has one of that file.
Work<Response> oneTimeSyncOwnersSharedFolders(const boost::json::value& body, Database& db);

/// Everything that the user has in the cloud becomes an item of this computer's outbox.
Work<Response> transferFilesFromCloudToBaseSystem(const boost::json::value& body, Database& db, Cloud& cloud,
                                                  Delivery& delivery);

/// "AllFiles" is all that the computer has: a JSON list of paths or of objects with "FullPath" and, where known,
/// "IsFile", "FileSize", "FileModifiedDate" and "BaseSystemFileID"; or a text with one path a line. A path that ends
/// with a separator is a folder. What is new is treated as created, what has another size or date as
/// changed; what is missing is dropped from the table. Refuses
/// more than 100,000 entries with "TooMany".
Work<Response> oneTimeSyncFiles(const boost::json::value& body, Database& db, Cloud& cloud, Delivery& delivery);

} // namespace webservice
