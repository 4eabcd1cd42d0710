#pragma once

#include "Services/Catalogue.h"

namespace Quenmark {

/// The names of the functions that turn request records into the dictionaries that are posted: the fields under their
/// wire keys, in wire order, nil ones left out. Pure functions; none fails.
class QueryParser {
public:
    QueryParser() = delete;

    static constexpr auto parseUserRegistrationQuery = Catalogue::userRegistration.encode;
    static constexpr auto parseRegisterComputerQuery = Catalogue::registerComputer.encode;
    static constexpr auto parseSendActivationMailQuery = Catalogue::sendActivationMail.encode;
    static constexpr auto parseOneTimeSyncOwnersSharedFoldersQuery = Catalogue::oneTimeSyncOwnersSharedFolders.encode;
    static constexpr auto parseTransferFilesFromColudToBaseSystemQuery =
        Catalogue::transferFilesFromCloudToBaseSystem.encode;
    static constexpr auto parseGetTopFileUploadQuery = Catalogue::getTopFileUpload.encode;
    static constexpr auto parseCheckUserMailActivationStatusQuery = Catalogue::checkUserMailActivationStatus.encode;
    static constexpr auto parseUpdateFileUploadQuery = Catalogue::updateFileUpload.encode;
    static constexpr auto parsegetTopFileRequestQuery = Catalogue::getTopFileRequest.encode;
    static constexpr auto parseUpdateFileRequestQuery = Catalogue::updateFileRequest.encode;
    /// The list under the key "syncData".
    static constexpr auto parseSyncFilesInTableAndCloudQuery = Catalogue::syncFilesInTableAndCloud.encode;
    static constexpr auto parseUpdateComputerStatusQuery = Catalogue::updateComputerStatus.encode;
    static constexpr auto parseOneTimeSyncFilesQuery = Catalogue::oneTimeSyncFiles.encode;
    static constexpr auto parseSendPasswordToMailIdQuery = Catalogue::sendPasswordToMailId.encode;
    static constexpr auto parseLogErrorQuery = Catalogue::logError.encode;
    static constexpr auto parseGetSharedFilesTransferDataQuery = Catalogue::getSharedFilesTransferData.encode;
    static constexpr auto parseUpdateFileExistDataQuery = Catalogue::updateFileExist.encode;
    static constexpr auto parseUpdateFileSendReceivedQuery = Catalogue::updateFileSendReceived.encode;
    static constexpr auto parseUploadWithStreamQuery = Catalogue::uploadFileWithStream.encode;
    static constexpr auto parseUpdateSendFileToTransferQuery = Catalogue::updateSendFileToTransfer.encode;
    static constexpr auto parseIsFileExistsInCloudQuery = Catalogue::isFileExistsInCloud.encode;
    static constexpr auto parseUpdateFileReceivedQuery = Catalogue::updateFileReceived.encode;
    static constexpr auto parseDeleteReceivedFileFromTransferQuery = Catalogue::deleteReceivedFileFromTransfer.encode;
    static constexpr auto parseInsertFileQuery = Catalogue::insertFile.encode;
    static constexpr auto parseInsertSharedFilesTransferQuery = Catalogue::insertSharedFilesTransfer.encode;
    static constexpr auto parseUpdateBSUploadStreamStartedQuery = Catalogue::updateBSUploadStreamStart.encode;
    static constexpr auto parseCheckFileExistsInDownloadsQuery = Catalogue::checkFileExistsInDownloads.encode;
    static constexpr auto parseUpdateBSUploadStreamFailedQuery = Catalogue::updateBSUploadStreamFailed.encode;
    static constexpr auto parseCheckFileExistsInTransfersQuery = Catalogue::checkFileExistsInTransfers.encode;
    static constexpr auto parseUpdateBSSendStreamStartedQuery = Catalogue::updateBSSendStreamStarted.encode;
    static constexpr auto parseUpdateBSSendStreamFailedQuery = Catalogue::updateBSSendStreamFailed.encode;
    static constexpr auto parseUpdateBSReceiveStreamStartedQuery = Catalogue::updateBSReceiveStreamStart.encode;
    static constexpr auto parseUpdateBSReceiveStreamFailedQuery = Catalogue::updateBSReceiveStreamfailed.encode;
    static constexpr auto parseUpdateBSDownloadStreamStartedQuery = Catalogue::updateBSDownloadStreamStart.encode;
    static constexpr auto parseUpdateBSDownloadStreamFailedQuery = Catalogue::updateBSDownloadStreamFailed.encode;
    static constexpr auto parseGetTopFileDeleteRequestQuery = Catalogue::getTopFileDeleteRequest.encode;
    static constexpr auto parseUpdateBSFileDeletedQuery = Catalogue::updateBSFileDeleted.encode;
};

} // namespace Quenmark
