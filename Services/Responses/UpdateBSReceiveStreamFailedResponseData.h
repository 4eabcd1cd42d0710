#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSReceiveStreamFailedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSReceiveStreamFailedResponseData::returnStatus},
            Field{notOnTheWire, "error", &UpdateBSReceiveStreamFailedResponseData::error},
        };
    }
    bool operator==(const UpdateBSReceiveStreamFailedResponseData&) const = default;
};

} // namespace Quenmark
