#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct TransferFilesFromCloudToBaseSystemResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &TransferFilesFromCloudToBaseSystemResponseData::returnStatus},
            Field{"error", "error", &TransferFilesFromCloudToBaseSystemResponseData::error},
        };
    }
    bool operator==(const TransferFilesFromCloudToBaseSystemResponseData&) const = default;
};

} // namespace Quenmark
