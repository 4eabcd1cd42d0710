#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Adds a transfer of a shared file.
struct InsertSharedFilesTransferQuery {
    RequestField fileID;
    RequestField computerID;
    RequestField userComputerID;
    RequestField oldFullPath;
    RequestField fullPath;
    RequestField isFile;
    RequestField baseSystemFileID;
    RequestField prevFolderFileID;
    RequestField changeType;
    RequestField StrXMLFileID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileID", "fileID", &InsertSharedFilesTransferQuery::fileID},
            Field{"ComputerID", "computerID", &InsertSharedFilesTransferQuery::computerID},
            Field{"UserComputerID", "userComputerID", &InsertSharedFilesTransferQuery::userComputerID},
            Field{"OldFullPath", "oldFullPath", &InsertSharedFilesTransferQuery::oldFullPath},
            Field{"FullPath", "fullPath", &InsertSharedFilesTransferQuery::fullPath},
            Field{"IsFile", "isFile", &InsertSharedFilesTransferQuery::isFile},
            Field{"BaseSystemFileID", "baseSystemFileID", &InsertSharedFilesTransferQuery::baseSystemFileID},
            Field{"PrevFolderFileID", "prevFolderFileID", &InsertSharedFilesTransferQuery::prevFolderFileID},
            Field{"ChangeType", "changeType", &InsertSharedFilesTransferQuery::changeType},
            Field{"StrXMLFileID", "StrXMLFileID", &InsertSharedFilesTransferQuery::StrXMLFileID},
        };
    }
    bool operator==(const InsertSharedFilesTransferQuery&) const = default;
};

} // namespace Quenmark
