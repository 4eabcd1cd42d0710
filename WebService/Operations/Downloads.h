#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/Storage/Cloud.h"

namespace webservice {

// Downloads.svc: contents that this service asks a computer for, and deletions that it asks for.

/// The first file that "FromComputerID" is to stream up. The same one until it is answered or its stream is reported
/// to have failed, which puts it behind the others.
boost::json::object getTopFileRequest(const Record& request, Database& db);

/// The computer has answered the request and gives no content. May be repeated.
boost::json::object updateFileRequest(const Record& request, Database& db);

/// "ByteStartPos" is how many bytes of the path the service has: its size once it was streamed up, "0" before.
boost::json::object checkFileExistsInDownloads(const Record& request, const Cloud& cloud);

/// The content of a waiting request has begun to be streamed up, which puts it before the others, or has failed to be,
/// which puts it behind them.
boost::json::object updateBSDownloadStreamStarted(const Record& request, Database& db);
boost::json::object updateBSDownloadStreamFailed(const Record& request, Database& db);

/// The first file or folder that "FromComputerID" is to delete, until it reports that with "DeleteRequestID".
boost::json::object getTopFileDeleteRequest(const Record& request, Database& db);
boost::json::object updateBSFileDeleted(const Record& request, Database& db);

} // namespace webservice
