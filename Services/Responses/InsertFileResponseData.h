#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The identifier of the new file.
struct InsertFileResponseData {
    ResponseField fileID;
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileID", "fileID", &InsertFileResponseData::fileID},
            Field{"ReturnStatus", "returnStatus", &InsertFileResponseData::returnStatus},
            Field{"error", "error", &InsertFileResponseData::error},
        };
    }
    bool operator==(const InsertFileResponseData&) const = default;
};

} // namespace Quenmark
