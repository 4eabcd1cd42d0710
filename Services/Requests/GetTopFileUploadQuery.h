#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Asks for the next item that waits for a computer.
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
