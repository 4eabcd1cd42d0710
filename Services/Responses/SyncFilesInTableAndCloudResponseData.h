#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// The status of one change; the response is a list of them.
struct SyncFilesInTableAndCloudResponseData {
    ResponseField fileId;
    ResponseField returnStatus;
    ResponseField baseSystemFileID;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileID", "fileId", &SyncFilesInTableAndCloudResponseData::fileId},
            Field{"ReturnStatus", "returnStatus", &SyncFilesInTableAndCloudResponseData::returnStatus},
            Field{"BaseSystemFileID", "baseSystemFileID", &SyncFilesInTableAndCloudResponseData::baseSystemFileID},
            Field{notOnTheWire, "error", &SyncFilesInTableAndCloudResponseData::error},
        };
    }
    bool operator==(const SyncFilesInTableAndCloudResponseData&) const = default;
};

} // namespace Quenmark
