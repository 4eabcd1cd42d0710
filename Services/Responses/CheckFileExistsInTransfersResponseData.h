#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// From which byte the file is to be sent.
struct CheckFileExistsInTransfersResponseData {
    ResponseField byteStartPos;
    ResponseField returnStatus;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ByteStartPos", "byteStartPos", &CheckFileExistsInTransfersResponseData::byteStartPos},
            Field{"ReturnStatus", "returnStatus", &CheckFileExistsInTransfersResponseData::returnStatus},
        };
    }
    bool operator==(const CheckFileExistsInTransfersResponseData&) const = default;
};

} // namespace Quenmark
