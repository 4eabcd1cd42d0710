#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests the next file that is to be deleted on a computer.
struct GetTopFileDeleteRequestQuery {
    RequestField fromComputerID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FromComputerID", "fromComputerID", &GetTopFileDeleteRequestQuery::fromComputerID},
        };
    }
    bool operator==(const GetTopFileDeleteRequestQuery&) const = default;
};

} // namespace Quenmark
