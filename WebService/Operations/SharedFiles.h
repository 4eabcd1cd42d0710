#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Record.h"
#include "WebService/State.h"

namespace webservice {

// MAC/SharedFiles.svc: files that one computer sends to another one through this service. A transfer is waiting, sent,
// received, deleted, in this order. What would lead backwards is refused with "WrongState"; what says again what is so
// already is accepted.

/// Everything that concerns the computer: what it is to send, the computers that send to the user's, what it is to
/// receive, and how its shared folders stand. A list has up to 1,000 entries: the rest of what is to send and to
/// receive follows when some of these have been reported as sent and received.
Work<Response> getSharedFilesTransferData(State& state, const boost::json::value& body);

/// The receiving computer has the file already: the transfer counts as received.
boost::json::object updateFileExists(State& state, const Record& request);

/// The sending computer has sent the file.
boost::json::object updateFileSendReceived(State& state, const Record& request);

/// The computer is about to stream up a file of its table: it becomes a request that GetTopFileRequest gives.
boost::json::object uploadFileWithStream(State& state, const Record& request);

/// The sending computer has sent the file and says how it is to be known: what is told replaces what the transfer had.
boost::json::object updateSendFileToTransfer(State& state, const Record& request);

/// "IsExists" is "True" when a content of the path is in the cloud, of whomever.
boost::json::object isFileExistsInCloud(State& state, const Record& request);

/// The receiving computer has the file. Only a transfer that was sent can be received, unless "IsExists" is "True".
boost::json::object updateFileReceived(State& state, const Record& request);

/// The transfer is over. Only a received one can be deleted, unless "IsExists" is "True".
boost::json::object deleteReceivedFileFromTransfer(State& state, const Record& request);

/// "ByteStartPos" is how many bytes of the transfer's file the service has; "0" when none.
boost::json::object checkFileExistsInTransfers(State& state, const Record& request);

/// A content of the file has arrived: it goes to the receivers of the transfers of it that have been sent already.
Work<> deliverToReceivers(State& state, std::int64_t file, CloudFile content);

/// Reports on the two streams of a transfer. A failed sending makes the transfer wait again, a failed receiving leaves
/// it sent; once it was received neither can fail any more.
boost::json::object updateBSSendStreamStarted(State& state, const Record& request);
boost::json::object updateBSSendStreamFailed(State& state, const Record& request);
boost::json::object updateBSReceiveStreamStarted(State& state, const Record& request);
boost::json::object updateBSReceiveStreamFailed(State& state, const Record& request);

} // namespace webservice
