#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateFileReceivedResponseData {
    ResponseField ReturnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "ReturnStatus", &UpdateFileReceivedResponseData::ReturnStatus},
            Field{"error", "error", &UpdateFileReceivedResponseData::error},
        };
    }
    bool operator==(const UpdateFileReceivedResponseData&) const = default;
};

} // namespace Quenmark
