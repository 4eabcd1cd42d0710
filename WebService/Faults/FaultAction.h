#pragma once

#include "WebService/Http/Response.h"

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace webservice {

/// A response that is given in place of doing what was requested.
struct StatusFault {
    int code = 0;
    std::string body;
};

struct BodyFault {
    std::string text;
};

struct CorruptFault {
    std::uint64_t atByte = 0; // of the body, from 0 on
};

/// What a fault does. What concerns the way in which a response is sent is a Transmission.
using FaultAction = std::variant<std::shared_ptr<const Transmission>, StatusFault, BodyFault, CorruptFault>;

/// Makes the response the one that the action asks for. A byte that the body does not have is not corrupted.
void applyFault(const FaultAction& action, Response& response);

} // namespace webservice
