#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <memory>

namespace webservice {

/// Downloads.svc/UpdateFileRequestWithStream: the body is the content of a requested file; what it is stands in the
/// header fields "FilePath", "FileRequestID" and "TransitDownloadPath". It is kept in the cloud, answers the request
/// and goes to the user's other computers. A content that nobody has asked for is kept too, as nobody's.
std::unique_ptr<Exchange> beginReceivedFile(State& state, const RequestHead& head);

} // namespace webservice
