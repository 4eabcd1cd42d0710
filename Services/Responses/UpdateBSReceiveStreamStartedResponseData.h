#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSReceiveStreamStartedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSReceiveStreamStartedResponseData::returnStatus},
            Field{notOnTheWire, "error", &UpdateBSReceiveStreamStartedResponseData::error},
        };
    }
    bool operator==(const UpdateBSReceiveStreamStartedResponseData&) const = default;
};

} // namespace Quenmark
