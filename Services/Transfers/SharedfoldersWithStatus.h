#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The sharing status of one shared folder.
struct SharedfoldersWithStatus {
    ResponseField fileId;
    ResponseField sharedStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileID", "fileId", &SharedfoldersWithStatus::fileId},
            Field{"SharedStatus", "sharedStatus", &SharedfoldersWithStatus::sharedStatus},
            Field{notOnTheWire, "error", &SharedfoldersWithStatus::error},
        };
    }
    bool operator==(const SharedfoldersWithStatus&) const = default;
};

} // namespace Quenmark
