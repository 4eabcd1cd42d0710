#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The identifiers of a signed-in or newly registered user.
struct UserRegistrationResponseData {
    ResponseField returnStatus;
    ResponseField returnValue;
    ResponseField userId;
    ResponseField cloudComputerId;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &UserRegistrationResponseData::returnStatus},
            Field{"ReturnVal", "returnValue", &UserRegistrationResponseData::returnValue},
            Field{"UserID", "userId", &UserRegistrationResponseData::userId},
            Field{"CloudComputerID", "cloudComputerId", &UserRegistrationResponseData::cloudComputerId},
            Field{"error", "error", &UserRegistrationResponseData::error},
        };
    }
    bool operator==(const UserRegistrationResponseData&) const = default;
};

} // namespace Quenmark
