#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// One change of a file or folder; the operation takes a list of them.
struct SyncFilesInTableAndCloudQuery {
    RequestField changeType;
    RequestField oldFullPath;
    RequestField fullPath;
    RequestField fileSize;
    RequestField quenmarkPath;
    RequestField isFile;
    RequestField computerId;
    RequestField fileModifiedDate;
    RequestField baseSystemFileID;
    RequestField fileID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ChangeType", "changeType", &SyncFilesInTableAndCloudQuery::changeType},
            Field{"OldFullPath", "oldFullPath", &SyncFilesInTableAndCloudQuery::oldFullPath},
            Field{"FullPath", "fullPath", &SyncFilesInTableAndCloudQuery::fullPath},
            Field{"FileSize", "fileSize", &SyncFilesInTableAndCloudQuery::fileSize},
            Field{"QuenmarkPath", "quenmarkPath", &SyncFilesInTableAndCloudQuery::quenmarkPath},
            Field{"IsFile", "isFile", &SyncFilesInTableAndCloudQuery::isFile},
            Field{"ComputerID", "computerId", &SyncFilesInTableAndCloudQuery::computerId},
            Field{"FileModifiedDate", "fileModifiedDate", &SyncFilesInTableAndCloudQuery::fileModifiedDate},
            Field{"BaseSystemFileID", "baseSystemFileID", &SyncFilesInTableAndCloudQuery::baseSystemFileID},
            Field{"FileID", "fileID", &SyncFilesInTableAndCloudQuery::fileID},
        };
    }
    bool operator==(const SyncFilesInTableAndCloudQuery&) const = default;
};

} // namespace Quenmark
