#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateFileSendReceivedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateFileSendReceivedResponseData::returnStatus},
            Field{"error", "error", &UpdateFileSendReceivedResponseData::error},
        };
    }
    bool operator==(const UpdateFileSendReceivedResponseData&) const = default;
};

} // namespace Quenmark
