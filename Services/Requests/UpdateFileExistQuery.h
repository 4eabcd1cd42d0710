#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a shared file exists already.
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
