#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a requested file is in transit.
struct UpdateFileRequestQuery {
    RequestField filePath;
    RequestField fileRequestId;
    RequestField transitDownloadPath;
    RequestField attachment;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FilePath", "filePath", &UpdateFileRequestQuery::filePath},
            Field{"FileRequestID", "fileRequestId", &UpdateFileRequestQuery::fileRequestId},
            Field{"TransitDownloadPath", "transitDownloadPath", &UpdateFileRequestQuery::transitDownloadPath},
            Field{"Attachment", "attachment", &UpdateFileRequestQuery::attachment},
        };
    }
    bool operator==(const UpdateFileRequestQuery&) const = default;
};

} // namespace Quenmark
