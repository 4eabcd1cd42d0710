#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A file to send to another computer or to the cloud.
struct UpdateSendFileToTransferQuery {
    RequestField ChangeType;
    RequestField SharedFileTransferID;
    RequestField FullPathFromFileTable;
    RequestField ToCloud;
    RequestField IsFile;
    RequestField ToComputerID;
    RequestField NewFullPath;
    RequestField OwnerFileID;
    RequestField FromComputerID;
    RequestField QuenmarkPath;
    RequestField FileNameToSend;
    RequestField Length;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ChangeType", "ChangeType", &UpdateSendFileToTransferQuery::ChangeType},
            Field{"SharedFileTransferID", "SharedFileTransferID", &UpdateSendFileToTransferQuery::SharedFileTransferID},
            Field{"FullPathFromFileTable", "FullPathFromFileTable",
                  &UpdateSendFileToTransferQuery::FullPathFromFileTable},
            Field{"ToCloud", "ToCloud", &UpdateSendFileToTransferQuery::ToCloud},
            Field{"IsFile", "IsFile", &UpdateSendFileToTransferQuery::IsFile},
            Field{"ToComputerID", "ToComputerID", &UpdateSendFileToTransferQuery::ToComputerID},
            Field{"NewFullPath", "NewFullPath", &UpdateSendFileToTransferQuery::NewFullPath},
            Field{"OwnerFileID", "OwnerFileID", &UpdateSendFileToTransferQuery::OwnerFileID},
            Field{"FromComputerID", "FromComputerID", &UpdateSendFileToTransferQuery::FromComputerID},
            Field{"QuenmarkPath", "QuenmarkPath", &UpdateSendFileToTransferQuery::QuenmarkPath},
            Field{"FileNameToSend", "FileNameToSend", &UpdateSendFileToTransferQuery::FileNameToSend},
            Field{"Length", "Length", &UpdateSendFileToTransferQuery::Length},
        };
    }
    bool operator==(const UpdateSendFileToTransferQuery&) const = default;
};

} // namespace Quenmark
