#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct InsertSharedFilesTransferResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &InsertSharedFilesTransferResponseData::returnStatus},
            Field{"error", "error", &InsertSharedFilesTransferResponseData::error},
        };
    }
    bool operator==(const InsertSharedFilesTransferResponseData&) const = default;
};

} // namespace Quenmark
