#pragma once

#include "Services/Responses/CheckFileExistsInDownloadsResponseData.h"
#include "Services/Responses/CheckFileExistsInTransfersResponseData.h"
#include "Services/Responses/CheckUserMailActivationStatusResponseData.h"
#include "Services/Responses/DeleteReceivedFileFromTransferResponseData.h"
#include "Services/Responses/GetSharedFilesTransferDataResponseData.h"
#include "Services/Responses/GetTopFileDeleteResponseData.h"
#include "Services/Responses/GetTopFileRequestResponseData.h"
#include "Services/Responses/GetTopFileUploadResponseData.h"
#include "Services/Responses/InsertFileResponseData.h"
#include "Services/Responses/InsertSharedFilesTransferResponseData.h"
#include "Services/Responses/IsFileExistsInCloudResponseData.h"
#include "Services/Responses/LogErrorResponseData.h"
#include "Services/Responses/OneTimeSyncFilesResponseData.h"
#include "Services/Responses/OneTimeSyncOwnersSharedFoldersResponseData.h"
#include "Services/Responses/RegisterComputerResponseData.h"
#include "Services/Responses/SendActivationMailResponseData.h"
#include "Services/Responses/SendPasswordToMailIdResponseData.h"
#include "Services/Responses/SyncFilesInTableAndCloudResponseData.h"
#include "Services/Responses/TransferFilesFromCloudToBaseSystemResponseData.h"
#include "Services/Responses/UpdateBSDownloadStreamFailedResponseData.h"
#include "Services/Responses/UpdateBSDownloadStreamStartedResponseData.h"
#include "Services/Responses/UpdateBSFileDeleteResponseData.h"
#include "Services/Responses/UpdateBSReceiveStreamFailedResponseData.h"
#include "Services/Responses/UpdateBSReceiveStreamStartedResponseData.h"
#include "Services/Responses/UpdateBSSendStreamFailedResponseData.h"
#include "Services/Responses/UpdateBSSendStreamStartedResponseData.h"
#include "Services/Responses/UpdateBSUploadStreamFailedResponseData.h"
#include "Services/Responses/UpdateBSUploadStreamStartedResponseData.h"
#include "Services/Responses/UpdateComputerStatusResponseData.h"
#include "Services/Responses/UpdateFileExistResponseData.h"
#include "Services/Responses/UpdateFileReceivedResponseData.h"
#include "Services/Responses/UpdateFileRequestResponseData.h"
#include "Services/Responses/UpdateFileSendReceivedResponseData.h"
#include "Services/Responses/UpdateFileUploadResponseData.h"
#include "Services/Responses/UpdateSendFileToTransferResponseData.h"
#include "Services/Responses/UploadFileWithStreamResponseData.h"
#include "Services/Responses/UserRegistrationResponseData.h"

#include <vector>

namespace Quenmark {

/// Turns decoded answers into response records. The values are moved out of the answer and kept as they came; a
/// missing key leaves nil. An answer of the wrong shape throws UnsupportedOperation, one whose lists give more than 256
/// MiB of records AnswerTooLarge (Coding.h). Pure functions.
class DataParser {
public:
    DataParser() = delete;

    static UserRegistrationResponseData parseUserRegistrationReponseData(boost::json::value&& answer);
    static RegisterComputerResponseData parseRegisterComputerResponseData(boost::json::value&& answer);
    static SendActivationMailResponseData parseSendActivationMailResponseData(boost::json::value&& answer);
    static OneTimeSyncOwnersSharedFoldersResponseData
    parseOneTimeSyncOwnersSharedFoldersResponseData(boost::json::value&& answer);
    static TransferFilesFromCloudToBaseSystemResponseData
    parseTransferFilesFromCloudToBaseSystemResponseData(boost::json::value&& answer);
    static GetTopFileUploadResponseData parseGetTopFileUploadResponseData(boost::json::value&& answer);
    static CheckUserMailActivationStatusResponseData
    parseCheckUserMailActivationStatusResponseData(boost::json::value&& answer);
    static UpdateFileUploadResponseData parseUpdateFileUploadResponseData(boost::json::value&& answer);
    static GetTopFileRequestResponseData parseGetTopFileRequestResponseData(boost::json::value&& answer);
    static UpdateFileRequestResponseData parseUpdateFileRequestResponseData(boost::json::value&& answer);
    /// One record for each element of the answer, which is an array.
    static std::vector<SyncFilesInTableAndCloudResponseData>
    parseSyncFilesInTableAndCloudResponseData(boost::json::value&& answer);
    static UpdateComputerStatusResponseData parseUpdateComputerStatusResponseData(boost::json::value&& answer);
    static OneTimeSyncFilesResponseData parseOneTimeSyncFilesResponseData(boost::json::value&& answer);
    static SendPasswordToMailIdResponseData parseSendPasswordToMailIdResponseData(boost::json::value&& answer);
    static LogErrorResponseData parseLogErrorResponseData(boost::json::value&& answer);
    static GetSharedFilesTransferDataResponseData
    parseGetSharedFilesTransferDataResponseData(boost::json::value&& answer);
    static UpdateFileExistResponseData parseUpdateFileExistResponseData(boost::json::value&& answer);
    static UpdateFileSendReceivedResponseData parseUpdateFileSendReceivedResponseData(boost::json::value&& answer);
    /// The bare "ReturnStatus", nil where there is none. Where there is one the parse throws UnsupportedOperation,
    /// since a status has no "error" to set; required so.
    static AnswerField parseUploadFileWithStreamResponseData(boost::json::value&& answer);
    /// The bare "ReturnStatus", nil where there is none. Where there is one the parse throws UnsupportedOperation,
    /// since a status has no "error" to set; required so.
    static AnswerField parseUpdateSendFileToTransferResponseData(boost::json::value&& answer);
    static IsFileExistsInCloudResponseData parseIsFileExistsInCloudResponseData(boost::json::value&& answer);
    static UpdateFileReceivedResponseData parseUpdateFileReceivedResponseData(boost::json::value&& answer);
    static DeleteReceivedFileFromTransferResponseData
    parseDeleteReceivedFileFromTransferResponseData(boost::json::value&& answer);
    static InsertFileResponseData parseInsertFileResponseData(boost::json::value&& answer);
    static InsertSharedFilesTransferResponseData
    parseInsertSharedFilesTransferResponseData(boost::json::value&& answer);
    static UpdateBSUploadStreamStartedResponseData
    parseUpdateBSUploadStreamStartedResponseData(boost::json::value&& answer);
    static UpdateBSDownloadStreamStartedResponseData
    parseUpdateBSDownloadStreamStartedResponseData(boost::json::value&& answer);
    static UpdateBSDownloadStreamFailedResponseData
    parseUpdateBSDownloadStreamFailedResponseData(boost::json::value&& answer);
    static CheckFileExistsInDownloadsResponseData
    parseCheckFileExistsInDownloadsResponseData(boost::json::value&& answer);
    static UpdateBSUploadStreamFailedResponseData
    parseUpdateBSUploadStreamFailedResponseData(boost::json::value&& answer);
    static CheckFileExistsInTransfersResponseData
    parseCheckFileExistsInTransfersResponseData(boost::json::value&& answer);
    static UpdateBSSendStreamStartedResponseData
    parseUpdateBSSendStreamstartedResponseData(boost::json::value&& answer);
    static UpdateBSSendStreamFailedResponseData parseUpdateBSSendStreamFailedResponseData(boost::json::value&& answer);
    static UpdateBSReceiveStreamStartedResponseData
    parseUpdateBSReceiveStreamStartedResponseData(boost::json::value&& answer);
    static UpdateBSReceiveStreamFailedResponseData
    parseUpdateBSReceiveStreamFailedResponseData(boost::json::value&& answer);
    static GetTopFileDeleteResponseData parseGetTopFileResponseData(boost::json::value&& answer);
    static UpdateBSFileDeleteResponseData parseUpdateBSFileDeleteResponseData(boost::json::value&& answer);
};

} // namespace Quenmark
