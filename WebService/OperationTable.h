#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Exchange.h"
#include "WebService/Operations/Record.h"
#include "WebService/State.h"

#include <span>
#include <string_view>
#include <variant>

namespace webservice {

/// The ways an operation is answered: at once, by an object; in slices; with the content of a file; and with the body
/// as the content of a file.
using ObjectOperation = boost::json::object (*)(State& state, const Record& request);
using SlicedOperation = Work<Response> (*)(State& state, const boost::json::value& body);
using DownloadOperation = Response (*)(State& state, const Record& request);
using StreamOperation = std::unique_ptr<Exchange> (*)(State& state, const RequestHead& head);

/// One row says all there is to say of an operation: its path below the service root and what answers it.
struct Operation {
    std::string_view path;
    std::variant<ObjectOperation, SlicedOperation, DownloadOperation, StreamOperation> handler;
};

std::span<const Operation> operations();

/// The operation of the path, which is relative to the service root; none when there is no such operation. The clients
/// have a U+FFFC character at the end of the path of UpdateBSDownloadStreamFailed; it is passed over there, and there
/// alone.
const Operation* findOperation(std::string_view path);

/// The response that tells of an error of a request, wherever it was raised: whoever asks for a download, however
/// badly, takes the body of whatever comes back for the content of a file, so that response tells of the refusal in
/// header fields.
Response operationError(const RequestHead& head, const RequestError& error);

/// Takes the body of an operation and answers it.
std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const RequestHead& head);

} // namespace webservice
