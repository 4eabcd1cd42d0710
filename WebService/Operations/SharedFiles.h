#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Response.h"
#include "WebService/Operations/Delivery.h"
#include "WebService/Operations/Record.h"

namespace webservice {

// MAC/SharedFiles.svc: files that one computer sends to another one through this service. A transfer is waiting, sent,
// received, deleted, in this order. A change to an earlier state is the error "WrongState"; a repeated one is accepted.

/// Everything about the computer: what it is to send, the computers that send to the user's, what it is to receive, and
/// the state of its shared folders. A list has up to 1,000 entries: the rest of what is to be sent and received follows
/// when some of these have been reported as sent and received.
Work<Response> getSharedFilesTransferData(const boost::json::value& body, Database& db);

/// The receiving computer has the file already: the transfer counts as received.
boost::json::object updateFileExists(const Record& request, Database& db);

/// The sending computer has sent the file.
boost::json::object updateFileSendReceived(const Record& request, Database& db, Cloud& cloud, Delivery& delivery);

/// The computer is about to stream up a file of its table: it becomes a request that GetTopFileRequest returns.
boost::json::object uploadFileWithStream(const Record& request, Database& db, Cloud& cloud, Delivery& delivery);

/// The sending computer has sent the file; the keys that describe it replace those of the transfer.
boost::json::object updateSendFileToTransfer(const Record& request, Database& db, Cloud& cloud, Delivery& delivery);

/// "IsExists" is "True" when a content of the path is in the cloud, of any user.
boost::json::object isFileExistsInCloud(const Record& request, const Cloud& cloud);

/// The receiving computer has the file. Only a transfer that was sent can be received, unless "IsExists" is "True".
boost::json::object updateFileReceived(const Record& request, Database& db);

/// The transfer is over. Only a received one can be deleted, unless "IsExists" is "True".
boost::json::object deleteReceivedFileFromTransfer(const Record& request, Database& db);

/// "ByteStartPos" is how many bytes of the transfer's file the service has; "0" when none.
boost::json::object checkFileExistsInTransfers(const Record& request, Database& db, const Cloud& cloud);

/// A content of the file has arrived: delivers it to the receivers of its transfers that have been sent already.
Work<> deliverToReceivers(Database& db, Delivery& delivery, std::int64_t file, CloudFile content);

/// Reports about the two streams of a transfer. A failed sending makes the transfer wait again, a failed receiving
/// leaves it sent; after it was received neither can fail any more.
boost::json::object updateBSSendStreamStarted(const Record& request, Database& db);
boost::json::object updateBSSendStreamFailed(const Record& request, Database& db);
boost::json::object updateBSReceiveStreamStarted(const Record& request, Database& db);
boost::json::object updateBSReceiveStreamFailed(const Record& request, Database& db);

} // namespace webservice
