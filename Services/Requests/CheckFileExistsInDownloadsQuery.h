#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Queries how much of a requested file the service holds.
struct CheckFileExistsInDownloadsQuery {
    RequestField filePath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FilePath", "filePath", &CheckFileExistsInDownloadsQuery::filePath},
        };
    }
    bool operator==(const CheckFileExistsInDownloadsQuery&) const = default;
};

} // namespace Quenmark
