#pragma once

#include "Services/Catalogue.h"

namespace Quenmark {

/// The names of the functions that turn decoded responses into response records. The values are moved out of the
/// response unchanged; a missing key leaves nil. A response of the wrong shape throws UnsupportedOperation,
/// one whose lists give more than 256 MiB of records ResponseTooLarge (Coding.h). Pure functions.
class DataParser {
public:
    DataParser() = delete;

    static constexpr auto parseUserRegistrationReponseData = Catalogue::userRegistration.decode;
    static constexpr auto parseRegisterComputerResponseData = Catalogue::registerComputer.decode;
    static constexpr auto parseSendActivationMailResponseData = Catalogue::sendActivationMail.decode;
    static constexpr auto parseOneTimeSyncOwnersSharedFoldersResponseData =
        Catalogue::oneTimeSyncOwnersSharedFolders.decode;
    static constexpr auto parseTransferFilesFromCloudToBaseSystemResponseData =
        Catalogue::transferFilesFromCloudToBaseSystem.decode;
    static constexpr auto parseGetTopFileUploadResponseData = Catalogue::getTopFileUpload.decode;
    static constexpr auto parseCheckUserMailActivationStatusResponseData =
        Catalogue::checkUserMailActivationStatus.decode;
    static constexpr auto parseUpdateFileUploadResponseData = Catalogue::updateFileUpload.decode;
    static constexpr auto parseGetTopFileRequestResponseData = Catalogue::getTopFileRequest.decode;
    static constexpr auto parseUpdateFileRequestResponseData = Catalogue::updateFileRequest.decode;
    /// One record for each element of the response, which is an array.
    static constexpr auto parseSyncFilesInTableAndCloudResponseData = Catalogue::syncFilesInTableAndCloud.decode;
    static constexpr auto parseUpdateComputerStatusResponseData = Catalogue::updateComputerStatus.decode;
    static constexpr auto parseOneTimeSyncFilesResponseData = Catalogue::oneTimeSyncFiles.decode;
    static constexpr auto parseSendPasswordToMailIdResponseData = Catalogue::sendPasswordToMailId.decode;
    static constexpr auto parseLogErrorResponseData = Catalogue::logError.decode;
    static constexpr auto parseGetSharedFilesTransferDataResponseData = Catalogue::getSharedFilesTransferData.decode;
    static constexpr auto parseUpdateFileExistResponseData = Catalogue::updateFileExist.decode;
    static constexpr auto parseUpdateFileSendReceivedResponseData = Catalogue::updateFileSendReceived.decode;
    /// The bare "ReturnStatus", nil where there is none. Where there is one the parser throws UnsupportedOperation,
    /// since a status has no "error" to set; required so.
    static constexpr auto parseUploadFileWithStreamResponseData = Catalogue::uploadFileWithStream.decode;
    /// The bare "ReturnStatus", nil where there is none. Where there is one the parser throws UnsupportedOperation,
    /// since a status has no "error" to set; required so.
    static constexpr auto parseUpdateSendFileToTransferResponseData = Catalogue::updateSendFileToTransfer.decode;
    static constexpr auto parseIsFileExistsInCloudResponseData = Catalogue::isFileExistsInCloud.decode;
    static constexpr auto parseUpdateFileReceivedResponseData = Catalogue::updateFileReceived.decode;
    static constexpr auto parseDeleteReceivedFileFromTransferResponseData =
        Catalogue::deleteReceivedFileFromTransfer.decode;
    static constexpr auto parseInsertFileResponseData = Catalogue::insertFile.decode;
    static constexpr auto parseInsertSharedFilesTransferResponseData = Catalogue::insertSharedFilesTransfer.decode;
    static constexpr auto parseUpdateBSUploadStreamStartedResponseData = Catalogue::updateBSUploadStreamStart.decode;
    static constexpr auto parseCheckFileExistsInDownloadsResponseData = Catalogue::checkFileExistsInDownloads.decode;
    static constexpr auto parseUpdateBSUploadStreamFailedResponseData = Catalogue::updateBSUploadStreamFailed.decode;
    static constexpr auto parseCheckFileExistsInTransfersResponseData = Catalogue::checkFileExistsInTransfers.decode;
    static constexpr auto parseUpdateBSSendStreamstartedResponseData = Catalogue::updateBSSendStreamStarted.decode;
    static constexpr auto parseUpdateBSSendStreamFailedResponseData = Catalogue::updateBSSendStreamFailed.decode;
    static constexpr auto parseUpdateBSReceiveStreamStartedResponseData = Catalogue::updateBSReceiveStreamStart.decode;
    static constexpr auto parseUpdateBSReceiveStreamFailedResponseData = Catalogue::updateBSReceiveStreamfailed.decode;
    static constexpr auto parseUpdateBSDownloadStreamStartedResponseData =
        Catalogue::updateBSDownloadStreamStart.decode;
    static constexpr auto parseUpdateBSDownloadStreamFailedResponseData =
        Catalogue::updateBSDownloadStreamFailed.decode;
    static constexpr auto parseGetTopFileResponseData = Catalogue::getTopFileDeleteRequest.decode;
    static constexpr auto parseUpdateBSFileDeleteResponseData = Catalogue::updateBSFileDeleted.decode;
};

} // namespace Quenmark
