#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/State.h"

namespace webservice {

// The operations of Registration.svc that bring a newly registered computer up to date, once.

// Every file that owners have shared with the user goes to this computer too: a transfer that any computer of the
// user has or had is made for it, unless it has one of that file.
boost::json::object oneTimeSyncOwnersSharedFolders(State& state, const Record& request);

// Everything that the user has in the cloud becomes an item of this computer's outbox.
boost::json::object transferFilesFromCloudToBaseSystem(State& state, const Record& request);

// "AllFiles" is all that the computer has: a JSON list of paths or of objects with "FullPath" and, where known,
// "IsFile", "FileSize", "FileModifiedDate" and "BaseSystemFileID"; or a text with one path a line. A path that ends
// with a separator is a folder. What is new is treated as created; what is missing is dropped from the table.
boost::json::object oneTimeSyncFiles(State& state, const Record& request);

} // namespace webservice
