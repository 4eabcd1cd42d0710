#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests the next file that is requested from a computer.
struct GetTopFileRequestQuery {
    RequestField fromComputerID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FromComputerID", "fromComputerID", &GetTopFileRequestQuery::fromComputerID},
        };
    }
    bool operator==(const GetTopFileRequestQuery&) const = default;
};

} // namespace Quenmark
