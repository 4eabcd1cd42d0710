#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The next file that is to be deleted.
struct GetTopFileDeleteResponseData {
    ResponseField deleteRequestID;
    ResponseField filePath;
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"DeleteRequestID", "deleteRequestID", &GetTopFileDeleteResponseData::deleteRequestID},
            Field{"FilePath", "filePath", &GetTopFileDeleteResponseData::filePath},
            Field{"ReturnStatus", "returnStatus", &GetTopFileDeleteResponseData::returnStatus},
            Field{notOnTheWire, "error", &GetTopFileDeleteResponseData::error},
        };
    }
    bool operator==(const GetTopFileDeleteResponseData&) const = default;
};

} // namespace Quenmark
