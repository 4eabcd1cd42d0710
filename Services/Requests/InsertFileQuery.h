#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Adds a file to the file table.
struct InsertFileQuery {
    RequestField fullPath;
    RequestField computerID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FullPath", "fullPath", &InsertFileQuery::fullPath},
            Field{"ComputerID", "computerID", &InsertFileQuery::computerID},
        };
    }
    bool operator==(const InsertFileQuery&) const = default;
};

} // namespace Quenmark
