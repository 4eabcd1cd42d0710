#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/Operations/Record.h"
#include "WebService/State.h"

#include <span>
#include <string_view>
#include <variant>

namespace webservice {

// The ways an operation is answered.
using ObjectOperation = boost::json::object (*)(State& state, const Record& request);
using ListOperation = boost::json::array (*)(State& state, const boost::json::array& request);
using ResponseOperation = Response (*)(State& state, const Record& request);
using StreamOperation = std::unique_ptr<Exchange> (*)(State& state, const RequestHead& head);

// One row says all there is to say of an operation: its path below the service root and what answers it.
struct Operation {
    std::string_view path;
    std::variant<ObjectOperation, ListOperation, ResponseOperation, StreamOperation> answer;
};

std::span<const Operation> operations();

// The operation of the path, which is relative to the service root; none when there is no such operation. One client
// has a U+FFFC character at the end of a path; it is passed over.
const Operation* findOperation(std::string_view path);

// Takes the body of an operation and answers it.
std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const RequestHead& head);

} // namespace webservice
