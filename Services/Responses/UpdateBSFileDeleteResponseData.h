#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSFileDeleteResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSFileDeleteResponseData::returnStatus},
            Field{notOnTheWire, "error", &UpdateBSFileDeleteResponseData::error},
        };
    }
    bool operator==(const UpdateBSFileDeleteResponseData&) const = default;
};

} // namespace Quenmark
