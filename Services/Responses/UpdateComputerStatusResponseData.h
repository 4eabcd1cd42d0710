#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The version that the service has stored.
struct UpdateComputerStatusResponseData {
    ResponseField returnStatus;
    ResponseField VersionNumber;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UpdateComputerStatusResponseData::returnStatus},
            Field{"VersionNumber", "VersionNumber", &UpdateComputerStatusResponseData::VersionNumber},
            Field{"error", "error", &UpdateComputerStatusResponseData::error},
        };
    }
    bool operator==(const UpdateComputerStatusResponseData&) const = default;
};

} // namespace Quenmark
