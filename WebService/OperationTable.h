#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Http/Exchange.h"
#include "WebService/Operations/Record.h"
#include "WebService/State.h"

#include <span>
#include <string_view>
#include <variant>

namespace webservice {

/// The kinds of handlers: one that returns the object of the response; one that works in slices; one whose response is
/// the content of a file; and one that receives the content of a file as the body.
using ObjectOperation = boost::json::object (*)(State& state, const Record& request);
using SlicedOperation = Work<Response> (*)(State& state, const boost::json::value& body);
using DownloadOperation = Response (*)(State& state, const Record& request);
using StreamOperation = std::unique_ptr<Exchange> (*)(State& state, const Request& request);

/// One row says all there is to say of an operation: its path below the service root and its handler.
struct Operation {
    std::string_view path;
    std::variant<ObjectOperation, SlicedOperation, DownloadOperation, StreamOperation> handler;
};

std::span<const Operation> operations();

/// The operation of the path, which is relative to the service root; none when there is no such operation. The clients
/// have a U+FFFC character at the end of the path of UpdateBSDownloadStreamFailed; it is passed over there, and there
/// alone.
const Operation* findOperation(std::string_view path);

/// The response for an error of a request, wherever it was raised. A client appends the body of any response to a
/// download to a file, so a download's errors are reported in header fields, however malformed its request is.
Response operationError(const Request& request, const RequestError& error);

/// The exchange that receives the body of an operation's request and runs its handler.
std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const Request& request);

} // namespace webservice
