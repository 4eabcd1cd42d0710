#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct LogErrorResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &LogErrorResponseData::returnStatus},
            Field{"error", "error", &LogErrorResponseData::error},
        };
    }
    bool operator==(const LogErrorResponseData&) const = default;
};

} // namespace Quenmark
