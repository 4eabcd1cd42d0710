#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A computer of a user to register, with the path of its Quenmark folder.
struct RegisterComputerQuery {
    RequestField userId;
    RequestField quenmarkPath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"UserID", "userId", &RegisterComputerQuery::userId},
            Field{"QuenmarkPath", "quenmarkPath", &RegisterComputerQuery::quenmarkPath},
        };
    }
    bool operator==(const RegisterComputerQuery&) const = default;
};

} // namespace Quenmark
