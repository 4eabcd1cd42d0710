#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <memory>

namespace webservice {

/// Downloads.svc/UpdateFileRequestWithStream: the body is the content of a requested file, which the header fields
/// "FilePath", "FileRequestID" and "TransitDownloadPath" describe. It is stored in the cloud, fulfils the request and
/// is delivered to the user's other computers. A content that was not requested is stored too, without a user.
std::unique_ptr<Exchange> beginReceivedFile(State& state, const Request& request);

} // namespace webservice
