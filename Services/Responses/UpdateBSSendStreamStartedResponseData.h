#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSSendStreamStartedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSSendStreamStartedResponseData::returnStatus},
            Field{notOnTheWire, "error", &UpdateBSSendStreamStartedResponseData::error},
        };
    }
    bool operator==(const UpdateBSSendStreamStartedResponseData&) const = default;
};

} // namespace Quenmark
