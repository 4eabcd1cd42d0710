#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A file that this computer is to send to another computer or to the cloud.
struct FileToTransfer {
    ResponseField quenmarkPath;
    ResponseField changeType;
    ResponseField fromCloud;
    ResponseField fromComputerId;
    ResponseField fullPath;
    ResponseField fullPathfromFileTable;
    ResponseField isFile;
    ResponseField isOwnerToSubscriber;
    ResponseField fullPathNew;
    ResponseField ownerFileID;
    ResponseField prevFolderFileId;
    ResponseField sharedFileTransferId;
    ResponseField toCloud;
    ResponseField toComputerId;
    ResponseField userComputerId;
    ResponseField xmlFileId;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"QuenmarkPath", "quenmarkPath", &FileToTransfer::quenmarkPath},
            Field{"ChangeType", "changeType", &FileToTransfer::changeType},
            Field{"FromCloud", "fromCloud", &FileToTransfer::fromCloud},
            Field{"FromComputerID", "fromComputerId", &FileToTransfer::fromComputerId},
            Field{"FullPath", "fullPath", &FileToTransfer::fullPath},
            Field{"FullPathfromFileTable", "fullPathfromFileTable", &FileToTransfer::fullPathfromFileTable},
            Field{"IsFile", "isFile", &FileToTransfer::isFile},
            Field{"IsOwnerToSubscriber", "isOwnerToSubscriber", &FileToTransfer::isOwnerToSubscriber},
            Field{"NewFullPath", "fullPathNew", &FileToTransfer::fullPathNew},
            Field{"OwnerFileID", "ownerFileID", &FileToTransfer::ownerFileID},
            Field{"PrevFolderFileID", "prevFolderFileId", &FileToTransfer::prevFolderFileId},
            Field{"SharedFileTransferID", "sharedFileTransferId", &FileToTransfer::sharedFileTransferId},
            Field{"ToCloud", "toCloud", &FileToTransfer::toCloud},
            Field{"ToComputerID", "toComputerId", &FileToTransfer::toComputerId},
            Field{"UserComputerID", "userComputerId", &FileToTransfer::userComputerId},
            Field{"XMLFileID", "xmlFileId", &FileToTransfer::xmlFileId},
            Field{notOnTheWire, "error", &FileToTransfer::error},
        };
    }
    bool operator==(const FileToTransfer&) const = default;
};

} // namespace Quenmark
