#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call. The caller receives the bare "ReturnStatus" value instead (DataParser.h).
struct UpdateSendFileToTransferResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateSendFileToTransferResponseData::returnStatus},
            Field{"error", "error", &UpdateSendFileToTransferResponseData::error},
        };
    }
    bool operator==(const UpdateSendFileToTransferResponseData&) const = default;
};

} // namespace Quenmark
