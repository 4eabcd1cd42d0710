#pragma once

#include "WebService/Http/Response.h"
#include "WebService/Operations/Record.h"
#include "WebService/Outbox/OutboxQueue.h"

#include <string_view>

namespace webservice {

// Uploads.svc: the items that are pending for a computer.

/// The path of getTopFileUploadWithStream() below the service root, and the last part of it.
constexpr std::string_view downloadPath = "Uploads.svc/GetTopFileUploadWithStream";
constexpr std::string_view downloadName = downloadPath.substr(downloadPath.find('/') + 1);

/// The computer's next item, the same one until it is acknowledged. "ReturnStatus" "1" without the item's keys when
/// none is pending.
boost::json::object getTopFileUpload(const Record& request, OutboxQueue& queue);

/// The content of the item that the computer was offered last, from byte "Length" on; the item's keys are header
/// fields. The header field "ReturnStatus" is
///   "0"  the body is the rest of the file (empty for a folder),
///   "2"  nothing can be sent at present; poll for the next item again,
///   "1"  the request itself is wrong, the header field "Error" says how.
/// An error of the request has "1", an error of this service "2". The body is empty unless the status is "0": a client
/// appends any body to its file. An offset beyond the end of the file, or one that counts bytes of an earlier content
/// of the file, cannot be resumed: the item is moved to the end of the queue.
Response getTopFileUploadWithStream(const Record& request, OutboxQueue& queue, OutboxLedger& ledger);

/// The response of GetTopFileUploadWithStream to a request with an error.
Response downloadError(const RequestError& error);

/// The computer has received the item "FileUploadID". May be repeated.
boost::json::object updateFileUpload(const Record& request, OutboxLedger& ledger);

/// A pending item has begun to be streamed: the computer counts as offered it last. Or its stream has failed: it stays
/// pending, at the end of the queue.
boost::json::object updateBSUploadStreamStarted(const Record& request, OutboxLedger& ledger);
boost::json::object updateBSUploadStreamFailed(const Record& request, OutboxLedger& ledger);

} // namespace webservice
