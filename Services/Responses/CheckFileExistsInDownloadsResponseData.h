#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// From which byte the file is to be sent.
struct CheckFileExistsInDownloadsResponseData {
    ResponseField byteStartPos;
    ResponseField returnStatus;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ByteStartPos", "byteStartPos", &CheckFileExistsInDownloadsResponseData::byteStartPos},
            Field{"ReturnStatus", "returnStatus", &CheckFileExistsInDownloadsResponseData::returnStatus},
        };
    }
    bool operator==(const CheckFileExistsInDownloadsResponseData&) const = default;
};

} // namespace Quenmark
