#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whether the cloud holds the file.
struct IsFileExistsInCloudResponseData {
    ResponseField isExists;
    ResponseField returnStatus;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"IsExists", "isExists", &IsFileExistsInCloudResponseData::isExists},
            Field{"ReturnStatus", "returnStatus", &IsFileExistsInCloudResponseData::returnStatus},
            Field{"error", "error", &IsFileExistsInCloudResponseData::error},
        };
    }
    bool operator==(const IsFileExistsInCloudResponseData&) const = default;
};

} // namespace Quenmark
