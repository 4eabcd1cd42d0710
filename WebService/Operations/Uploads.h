#pragma once

#include "WebService/Http/Response.h"
#include "WebService/Operations/Record.h"
#include "WebService/Outbox/OutboxQueue.h"

namespace webservice {

// Uploads.svc: the items that wait for a computer.

/// The computer's next item. It is the same one until it is acknowledged. "ReturnStatus" "1" without the item's keys
/// when nothing waits.
boost::json::object getTopFileUpload(const Record& request, OutboxQueue& queue);

/// The content of the item that the computer was told of last, from byte "Length" on; the item's keys are header
/// fields. The header "ReturnStatus" is
///   "0"  the body is the rest of the file (empty for a folder),
///   "2"  there is nothing to be had at present; ask for the next item anew,
///   "1"  the request itself is wrong, the header "Error" says how.
/// Wherever something goes wrong, "1" stands for a request that is wrong and "2" for an error of this service. The body
/// is empty unless the status is "0": a client may append whatever comes. An offset that lies beyond the file's end,
/// or that counts bytes of an earlier content of the file, cannot be resumed: the item goes behind the others.
Response getTopFileUploadWithStream(const Record& request, OutboxQueue& queue, OutboxLedger& ledger);

/// The response of GetTopFileUploadWithStream that tells of an error.
Response downloadError(const RequestError& error);

/// The computer has the item "FileUploadID". May be repeated.
boost::json::object updateFileUpload(const Record& request, OutboxLedger& ledger);

/// A pending item has begun to be streamed: it is the one that the computer was told of last. Or it has failed to be:
/// it stays pending, behind the others.
boost::json::object updateBSUploadStreamStarted(const Record& request, OutboxLedger& ledger);
boost::json::object updateBSUploadStreamFailed(const Record& request, OutboxLedger& ledger);

} // namespace webservice
