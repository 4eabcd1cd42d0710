#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a requested file has started.
struct UpdateBSDownloadStreamStartedQuery {
    RequestField fileRequestId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileRequestID", "fileRequestId", &UpdateBSDownloadStreamStartedQuery::fileRequestId},
        };
    }
    bool operator==(const UpdateBSDownloadStreamStartedQuery&) const = default;
};

} // namespace Quenmark
