#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct OneTimeSyncFilesResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &OneTimeSyncFilesResponseData::returnStatus},
            Field{"error", "error", &OneTimeSyncFilesResponseData::error},
        };
    }
    bool operator==(const OneTimeSyncFilesResponseData&) const = default;
};

} // namespace Quenmark
