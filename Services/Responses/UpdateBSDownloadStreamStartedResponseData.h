#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSDownloadStreamStartedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSDownloadStreamStartedResponseData::returnStatus},
            Field{"error", "error", &UpdateBSDownloadStreamStartedResponseData::error},
        };
    }
    bool operator==(const UpdateBSDownloadStreamStartedResponseData&) const = default;
};

} // namespace Quenmark
