#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A failure, for the error log of the web service.
struct LogErrorQuery {
    RequestField errorClass;
    RequestField errorMethod;
    RequestField errorMessage;
    RequestField computerId;
    RequestField userId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ErrorClass", "errorClass", &LogErrorQuery::errorClass},
            Field{"ErrorMethod", "errorMethod", &LogErrorQuery::errorMethod},
            Field{"ErrorMessage", "errorMessage", &LogErrorQuery::errorMessage},
            Field{"ComputerID", "computerId", &LogErrorQuery::computerId},
            Field{"UserID", "userId", &LogErrorQuery::userId},
        };
    }
    bool operator==(const LogErrorQuery&) const = default;
};

} // namespace Quenmark
