#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Queries whether the cloud holds a file.
struct IsFileExistsInCloudQuery {
    RequestField strFullPath;

    static constexpr auto fields() {
        return std::tuple{
            Field{"StrFullPath", "strFullPath", &IsFileExistsInCloudQuery::strFullPath},
        };
    }
    bool operator==(const IsFileExistsInCloudQuery&) const = default;
};

} // namespace Quenmark
