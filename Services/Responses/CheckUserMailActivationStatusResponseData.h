#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whether the account is confirmed.
struct CheckUserMailActivationStatusResponseData {
    ResponseField returnStatus;
    ResponseField returnValue;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &CheckUserMailActivationStatusResponseData::returnStatus},
            Field{"ReturnVal", "returnValue", &CheckUserMailActivationStatusResponseData::returnValue},
            Field{"error", "error", &CheckUserMailActivationStatusResponseData::error},
        };
    }
    bool operator==(const CheckUserMailActivationStatusResponseData&) const = default;
};

} // namespace Quenmark
