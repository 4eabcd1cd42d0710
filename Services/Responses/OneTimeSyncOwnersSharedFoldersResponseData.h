#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct OneTimeSyncOwnersSharedFoldersResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &OneTimeSyncOwnersSharedFoldersResponseData::returnStatus},
            Field{"error", "error", &OneTimeSyncOwnersSharedFoldersResponseData::error},
        };
    }
    bool operator==(const OneTimeSyncOwnersSharedFoldersResponseData&) const = default;
};

} // namespace Quenmark
