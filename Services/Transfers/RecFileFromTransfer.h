#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A file that this computer is to receive.
struct RecFileFromTransfer {
    ResponseField changeType;
    ResponseField fromCloud;
    ResponseField fromComputerId;
    ResponseField fullPath;
    ResponseField fullPathFromFileTable;
    ResponseField isFile;
    ResponseField isOwnerToSubscriber;
    ResponseField fullPathNew;
    ResponseField nickName;
    ResponseField ownerFileId;
    ResponseField prevFolderFileId;
    ResponseField savedFileId;
    ResponseField sharedFileTransferId;
    ResponseField sharedFolderFileId;
    ResponseField toCloud;
    ResponseField userComputerId;
    ResponseField xmlFileId;
    ResponseField toComputerId;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ChangeType", "changeType", &RecFileFromTransfer::changeType},
            Field{"FromCloud", "fromCloud", &RecFileFromTransfer::fromCloud},
            Field{"FromComputerID", "fromComputerId", &RecFileFromTransfer::fromComputerId},
            Field{"FullPath", "fullPath", &RecFileFromTransfer::fullPath},
            Field{"FullPathFromFileTable", "fullPathFromFileTable", &RecFileFromTransfer::fullPathFromFileTable},
            Field{"IsFile", "isFile", &RecFileFromTransfer::isFile},
            Field{"IsOwnerToSubscriber", "isOwnerToSubscriber", &RecFileFromTransfer::isOwnerToSubscriber},
            Field{"NewFullPath", "fullPathNew", &RecFileFromTransfer::fullPathNew},
            Field{"NickName", "nickName", &RecFileFromTransfer::nickName},
            Field{"OwnerFileID", "ownerFileId", &RecFileFromTransfer::ownerFileId},
            Field{"PrevFolderFileID", "prevFolderFileId", &RecFileFromTransfer::prevFolderFileId},
            Field{"SavedFileID", "savedFileId", &RecFileFromTransfer::savedFileId},
            Field{"SharedFileTransferID", "sharedFileTransferId", &RecFileFromTransfer::sharedFileTransferId},
            Field{"SharedFolderFileID", "sharedFolderFileId", &RecFileFromTransfer::sharedFolderFileId},
            Field{"ToCloud", "toCloud", &RecFileFromTransfer::toCloud},
            Field{"UserComputerID", "userComputerId", &RecFileFromTransfer::userComputerId},
            Field{"XMLFileID", "xmlFileId", &RecFileFromTransfer::xmlFileId},
            Field{"ToComputerID", "toComputerId", &RecFileFromTransfer::toComputerId},
            Field{notOnTheWire, "error", &RecFileFromTransfer::error},
        };
    }
    bool operator==(const RecFileFromTransfer&) const = default;
};

} // namespace Quenmark
