#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a file has been deleted as requested.
struct UpdateBSFileDeletedQuery {
    RequestField deleteRequestID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"DeleteRequestID", "deleteRequestID", &UpdateBSFileDeletedQuery::deleteRequestID},
        };
    }
    bool operator==(const UpdateBSFileDeletedQuery&) const = default;
};

} // namespace Quenmark
