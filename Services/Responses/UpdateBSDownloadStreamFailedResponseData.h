#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct UpdateBSDownloadStreamFailedResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateBSDownloadStreamFailedResponseData::returnStatus},
            Field{"error", "error", &UpdateBSDownloadStreamFailedResponseData::error},
        };
    }
    bool operator==(const UpdateBSDownloadStreamFailedResponseData&) const = default;
};

} // namespace Quenmark
