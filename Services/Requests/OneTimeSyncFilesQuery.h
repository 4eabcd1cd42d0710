#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The whole file table of a computer, as one text.
struct OneTimeSyncFilesQuery {
    RequestField allFiles;
    RequestField computerId;
    RequestField quenmarkPath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"AllFiles", "allFiles", &OneTimeSyncFilesQuery::allFiles},
            Field{"ComputerID", "computerId", &OneTimeSyncFilesQuery::computerId},
            Field{"QuenmarkPath", "quenmarkPath", &OneTimeSyncFilesQuery::quenmarkPath},
        };
    }
    bool operator==(const OneTimeSyncFilesQuery&) const = default;
};

} // namespace Quenmark
