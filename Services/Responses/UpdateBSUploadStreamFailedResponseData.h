#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSUploadStreamFailedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSUploadStreamFailedResponseData::returnStatus},
            Field{"error", "error", &UpdateBSUploadStreamFailedResponseData::error},
        };
    }
    bool operator==(const UpdateBSUploadStreamFailedResponseData&) const = default;
};

} // namespace Quenmark
