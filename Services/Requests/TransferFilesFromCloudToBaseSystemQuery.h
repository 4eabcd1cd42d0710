#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests that a user's files in the cloud be offered to a computer.
struct TransferFilesFromCloudToBaseSystemQuery {
    RequestField computerID;
    RequestField quenmarkPath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ComputerID", "computerID", &TransferFilesFromCloudToBaseSystemQuery::computerID},
            Field{"QuenmarkPath", "quenmarkPath", &TransferFilesFromCloudToBaseSystemQuery::quenmarkPath},
        };
    }
    bool operator==(const TransferFilesFromCloudToBaseSystemQuery&) const = default;
};

} // namespace Quenmark
