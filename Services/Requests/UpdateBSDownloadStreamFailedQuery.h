#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a requested file has failed.
struct UpdateBSDownloadStreamFailedQuery {
    RequestField fileRequestId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileRequestID", "fileRequestId", &UpdateBSDownloadStreamFailedQuery::fileRequestId},
        };
    }
    bool operator==(const UpdateBSDownloadStreamFailedQuery&) const = default;
};

} // namespace Quenmark
