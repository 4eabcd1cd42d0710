#pragma once

#include "WebService/Operations/Record.h"
#include "WebService/State.h"

namespace webservice {

// Downloads.svc: contents that this service asks a computer for, and deletions that it asks for.

/// The first file that "FromComputerID" is to stream up. The same one until it is answered or its stream is reported
/// to have failed, which puts it behind the others.
boost::json::object getTopFileRequest(State& state, const Record& request);

/// The computer has answered the request and gives no content. May be repeated.
boost::json::object updateFileRequest(State& state, const Record& request);

/// "ByteStartPos" is how many bytes of the path the service has: its size once it was streamed up, "0" before.
boost::json::object checkFileExistsInDownloads(State& state, const Record& request);

/// The content of a waiting request has begun to be streamed up, which puts it before the others, or has failed to be,
/// which puts it behind them.
boost::json::object updateBSDownloadStreamStarted(State& state, const Record& request);
boost::json::object updateBSDownloadStreamFailed(State& state, const Record& request);

/// The first file or folder that "FromComputerID" is to delete, until it reports that with "DeleteRequestID".
boost::json::object getTopFileDeleteRequest(State& state, const Record& request);
boost::json::object updateBSFileDeleted(State& state, const Record& request);

} // namespace webservice
