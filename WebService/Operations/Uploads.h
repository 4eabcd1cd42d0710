#pragma once

#include "WebService/Http/Response.h"
#include "WebService/Operations/Record.h"
#include "WebService/State.h"

namespace webservice {

// Uploads.svc: the items that wait for a computer.

/// The computer's next item. It is the same one until it is acknowledged. "ReturnStatus" "1" without the item's keys
/// when nothing waits.
boost::json::object getTopFileUpload(State& state, const Record& request);

/// The content of the item that the computer was told of last, from byte "Length" on; the item's keys are header
/// fields. The header "ReturnStatus" is
///   "0"  the body is the rest of the file (empty for a folder),
///   "2"  there is nothing to be had at present; ask for the next item anew,
///   "1"  the request itself is wrong, the header "Error" says how.
/// Wherever something goes wrong, "1" stands for a request that is wrong and "2" for an error of this service. The body
/// is empty unless the status is "0": a client may append whatever comes. An offset that lies beyond the file's end,
/// or that counts bytes of an earlier content of the file, cannot be resumed: the item goes behind the others.
Response getTopFileUploadWithStream(State& state, const Record& request);

/// The refusal, made for JSON, as a response to GetTopFileUploadWithStream. One that is such a response stays as it is.
Response refusedDownload(Response refusal);

/// The computer has the item "FileUploadID". May be repeated.
boost::json::object updateFileUpload(State& state, const Record& request);

/// A pending item has begun to be streamed: it is the one that the computer was told of last. Or it has failed to be:
/// it stays pending, behind the others.
boost::json::object updateBSUploadStreamStarted(State& state, const Record& request);
boost::json::object updateBSUploadStreamFailed(State& state, const Record& request);

} // namespace webservice
