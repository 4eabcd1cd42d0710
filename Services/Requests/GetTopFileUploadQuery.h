#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Requests the next pending item of a computer.
struct GetTopFileUploadQuery {
    RequestField toComputerId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ToComputerID", "toComputerId", &GetTopFileUploadQuery::toComputerId},
        };
    }
    bool operator==(const GetTopFileUploadQuery&) const = default;
};

} // namespace Quenmark
