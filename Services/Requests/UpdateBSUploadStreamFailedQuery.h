#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of an upload has failed.
struct UpdateBSUploadStreamFailedQuery {
    RequestField fileUploadId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileUploadID", "fileUploadId", &UpdateBSUploadStreamFailedQuery::fileUploadId},
        };
    }
    bool operator==(const UpdateBSUploadStreamFailedQuery&) const = default;
};

} // namespace Quenmark
