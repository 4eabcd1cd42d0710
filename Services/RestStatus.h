#pragma once

#include <cstdint>

namespace Quenmark {

/// How a web-service operation went. 3 is not in use.
enum RestStatus : std::int64_t {
    /// A response was received and, where it is JSON, decoded. The HTTP status plays no part.
    RestStatusSuccess = 0,
    /// There is no network; nothing was sent.
    RestStatusNotReachable = 1,
    /// The transfer failed.
    RestStatusTransportError = 2,
    /// The parameters cannot be written as JSON; nothing was sent.
    RestStatusEncodeError = 4,
    /// The response is not JSON, or takes more than 256 MiB of memory once it is decoded.
    RestStatusDecodeError = 5,
};

} // namespace Quenmark
