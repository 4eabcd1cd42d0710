#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSUploadStreamStartedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSUploadStreamStartedResponseData::returnStatus},
            Field{"error", "error", &UpdateBSUploadStreamStartedResponseData::error},
        };
    }
    bool operator==(const UpdateBSUploadStreamStartedResponseData&) const = default;
};

} // namespace Quenmark
