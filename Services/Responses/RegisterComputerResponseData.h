#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The identifier of a registered computer.
struct RegisterComputerResponseData {
    ResponseField computerId;
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ComputerID", "computerId", &RegisterComputerResponseData::computerId},
            Field{"ReturnStatus", "returnStatus", &RegisterComputerResponseData::returnStatus},
            Field{"error", "error", &RegisterComputerResponseData::error},
        };
    }
    bool operator==(const RegisterComputerResponseData&) const = default;
};

} // namespace Quenmark
