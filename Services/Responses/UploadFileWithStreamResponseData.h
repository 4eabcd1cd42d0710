#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of the call. The caller receives the bare "ReturnStatus" value instead (DataParser.h).
struct UploadFileWithStreamResponseData {
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UploadFileWithStreamResponseData::returnStatus},
            Field{"error", "error", &UploadFileWithStreamResponseData::error},
        };
    }
    bool operator==(const UploadFileWithStreamResponseData&) const = default;
};

} // namespace Quenmark
