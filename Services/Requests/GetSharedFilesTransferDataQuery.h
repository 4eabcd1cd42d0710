#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests the complete sharing state of a user and computer.
struct GetSharedFilesTransferDataQuery {
    RequestField userId;
    RequestField computerId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"UserID", "userId", &GetSharedFilesTransferDataQuery::userId},
            Field{"ComputerID", "computerId", &GetSharedFilesTransferDataQuery::computerId},
        };
    }
    bool operator==(const GetSharedFilesTransferDataQuery&) const = default;
};

} // namespace Quenmark
