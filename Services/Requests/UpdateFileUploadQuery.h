#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Acknowledges one received item.
struct UpdateFileUploadQuery {
    RequestField fileUploadId;
    RequestField fileName;
    RequestField serverPath;
    RequestField transitUploadPath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileUploadID", "fileUploadId", &UpdateFileUploadQuery::fileUploadId},
            Field{"FileName", "fileName", &UpdateFileUploadQuery::fileName},
            Field{"ServerPath", "serverPath", &UpdateFileUploadQuery::serverPath},
            Field{"TransitUploadPath", "transitUploadPath", &UpdateFileUploadQuery::transitUploadPath},
        };
    }
    bool operator==(const UpdateFileUploadQuery&) const = default;
};

} // namespace Quenmark
