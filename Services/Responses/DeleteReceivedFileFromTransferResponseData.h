#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call.
struct DeleteReceivedFileFromTransferResponseData {
    ResponseField ReturnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "ReturnStatus", &DeleteReceivedFileFromTransferResponseData::ReturnStatus},
            Field{"error", "error", &DeleteReceivedFileFromTransferResponseData::error},
        };
    }
    bool operator==(const DeleteReceivedFileFromTransferResponseData&) const = default;
};

} // namespace Quenmark
