#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of an upload has started.
struct UpdateBSUploadStreamStartedQuery {
    RequestField fileUploadId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileUploadID", "fileUploadId", &UpdateBSUploadStreamStartedQuery::fileUploadId},
        };
    }
    bool operator==(const UpdateBSUploadStreamStartedQuery&) const = default;
};

} // namespace Quenmark
