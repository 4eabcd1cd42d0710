#pragma once

#include "WebService/Http/Response.h"

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace webservice {

/// A response that is sent in place of carrying out the request.
struct StatusFault {
    int code = 0;
    std::string body;
};

struct BodyFault {
    std::string text;
};

struct CorruptFault {
    /// Of the body, from 0 on.
    std::uint64_t atByte = 0;
};

/// What a fault does. A Transmission changes how the response is sent, header fields included.
using FaultAction = std::variant<std::shared_ptr<const Transmission>, StatusFault, BodyFault, CorruptFault>;

/// Applies the action to a response. An offset beyond the end of the body corrupts nothing.
void applyFault(const FaultAction& action, Response& response);

} // namespace webservice
