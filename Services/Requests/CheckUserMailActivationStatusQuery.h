#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Queries whether a user has confirmed the account.
struct CheckUserMailActivationStatusQuery {
    RequestField userId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"UserID", "userId", &CheckUserMailActivationStatusQuery::userId},
        };
    }
    bool operator==(const CheckUserMailActivationStatusQuery&) const = default;
};

} // namespace Quenmark
