#pragma once

#include "Services/Record.h"
#include "Services/Transfers/FileToTransfer.h"
#include "Services/Transfers/OwnerComputers.h"
#include "Services/Transfers/RecFileFromTransfer.h"
#include "Services/Transfers/SharedfoldersWithStatus.h"

#include <tuple>
#include <vector>

namespace Quenmark {

/// The whole state of sharing of a user and computer.
struct GetSharedFilesTransferDataResponseData {
    std::vector<FileToTransfer> fileToTransferArray;
    std::vector<OwnerComputers> OwnerComputersArray;
    std::vector<RecFileFromTransfer> RecFileFromTransferArray;
    std::vector<SharedfoldersWithStatus> SharedfoldersWithStatusArray;
    ResponseField ReturnStatus;

    static constexpr auto fields() {
        return std::tuple{
            Field{"FileToTransfer", "fileToTransferArray",
                  &GetSharedFilesTransferDataResponseData::fileToTransferArray},
            Field{"OwnerComputers", "OwnerComputersArray",
                  &GetSharedFilesTransferDataResponseData::OwnerComputersArray},
            Field{"RecFileFromTransfer", "RecFileFromTransferArray",
                  &GetSharedFilesTransferDataResponseData::RecFileFromTransferArray},
            Field{"SharedfoldersWithStatus", "SharedfoldersWithStatusArray",
                  &GetSharedFilesTransferDataResponseData::SharedfoldersWithStatusArray},
            Field{"ReturnStatus", "ReturnStatus", &GetSharedFilesTransferDataResponseData::ReturnStatus},
        };
    }
    bool operator==(const GetSharedFilesTransferDataResponseData&) const = default;
};

} // namespace Quenmark
