#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests that the folders which others share with a user be offered to a computer.
struct OneTimeSyncOwnersSharedFoldersQuery {
    RequestField computerId;
    RequestField userId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ComputerID", "computerId", &OneTimeSyncOwnersSharedFoldersQuery::computerId},
            Field{"UserID", "userId", &OneTimeSyncOwnersSharedFoldersQuery::userId},
        };
    }
    bool operator==(const OneTimeSyncOwnersSharedFoldersQuery&) const = default;
};

} // namespace Quenmark
