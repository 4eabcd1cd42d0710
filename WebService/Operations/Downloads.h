#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Cloud.h"

namespace webservice {

// Downloads.svc: requests of this service to a computer for contents and for deletions.

/// The first file that "FromComputerID" is to stream up, the same one until the request is done or its stream is
/// reported as failed, which moves it to the end of the queue.
boost::json::object getTopFileRequest(const Record& request, Database& db);

/// The computer has handled the request and sends no content. May be repeated.
boost::json::object updateFileRequest(const Record& request, Database& db);

/// "ByteStartPos" is how many bytes of the path the service has: its size once it was streamed up, "0" before.
boost::json::object checkFileExistsInDownloads(const Record& request, const Cloud& cloud);

/// The content of a waiting request has begun to be streamed up, which moves it to the front of the queue, or has
/// failed to be, which moves it to the end.
boost::json::object updateBSDownloadStreamStarted(const Record& request, Database& db);
boost::json::object updateBSDownloadStreamFailed(const Record& request, Database& db);

/// The first file or folder that "FromComputerID" is to delete, the same one until it reports that with
/// "DeleteRequestID".
boost::json::object getTopFileDeleteRequest(const Record& request, Database& db);
boost::json::object updateBSFileDeleted(const Record& request, Database& db);

} // namespace webservice
