#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Tells that a shared file is already there.
struct UpdateFileExistQuery {
    RequestField SharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "SharedFileTransferID", &UpdateFileExistQuery::SharedFileTransferID},
        };
    }
    bool operator==(const UpdateFileExistQuery&) const = default;
};

} // namespace Quenmark
