#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateFileUploadResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateFileUploadResponseData::returnStatus},
            Field{"error", "error", &UpdateFileUploadResponseData::error},
        };
    }
    bool operator==(const UpdateFileUploadResponseData&) const = default;
};

} // namespace Quenmark
