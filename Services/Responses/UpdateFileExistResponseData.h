#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateFileExistResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateFileExistResponseData::returnStatus},
            Field{"error", "error", &UpdateFileExistResponseData::error},
        };
    }
    bool operator==(const UpdateFileExistResponseData&) const = default;
};

} // namespace Quenmark
