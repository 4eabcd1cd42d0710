#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateFileRequestResponseData {
    ResponseField ReturnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "ReturnStatus", &UpdateFileRequestResponseData::ReturnStatus},
            Field{"error", "error", &UpdateFileRequestResponseData::error},
        };
    }
    bool operator==(const UpdateFileRequestResponseData&) const = default;
};

} // namespace Quenmark
