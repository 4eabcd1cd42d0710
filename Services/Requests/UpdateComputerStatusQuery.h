#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a computer is alive, and which version it runs.
struct UpdateComputerStatusQuery {
    RequestField computerId;
    RequestField dateTime;
    RequestField versionNumber;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ComputerID", "computerId", &UpdateComputerStatusQuery::computerId},
            Field{"DateTime", "dateTime", &UpdateComputerStatusQuery::dateTime},
            Field{"VersionNumber", "versionNumber", &UpdateComputerStatusQuery::versionNumber},
        };
    }
    bool operator==(const UpdateComputerStatusQuery&) const = default;
};

} // namespace Quenmark
