#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSSendStreamFailedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSSendStreamFailedResponseData::returnStatus},
            Field{notOnTheWire, "error", &UpdateBSSendStreamFailedResponseData::error},
        };
    }
    bool operator==(const UpdateBSSendStreamFailedResponseData&) const = default;
};

} // namespace Quenmark
