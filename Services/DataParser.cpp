#include "Services/DataParser.h"

#include "Services/Coding.h"

namespace Quenmark {

using boost::json::value;

namespace {

/// The status itself is given the answer's "error"; no status has a place for one.
template <class Record>
AnswerField bareStatus(value&& answer) {
    Record record = decode<Record>(std::move(answer));
    if (record.returnStatus)
        throw UnsupportedOperation("a status value has no error to set");
    return std::nullopt;
}

} // namespace

UserRegistrationResponseData DataParser::parseUserRegistrationReponseData(value&& answer) {
    return decode<UserRegistrationResponseData>(std::move(answer));
}
RegisterComputerResponseData DataParser::parseRegisterComputerResponseData(value&& answer) {
    return decode<RegisterComputerResponseData>(std::move(answer));
}
SendActivationMailResponseData DataParser::parseSendActivationMailResponseData(value&& answer) {
    return decode<SendActivationMailResponseData>(std::move(answer));
}
OneTimeSyncOwnersSharedFoldersResponseData DataParser::parseOneTimeSyncOwnersSharedFoldersResponseData(value&& answer) {
    return decode<OneTimeSyncOwnersSharedFoldersResponseData>(std::move(answer));
}
TransferFilesFromCloudToBaseSystemResponseData
DataParser::parseTransferFilesFromCloudToBaseSystemResponseData(value&& answer) {
    return decode<TransferFilesFromCloudToBaseSystemResponseData>(std::move(answer));
}
GetTopFileUploadResponseData DataParser::parseGetTopFileUploadResponseData(value&& answer) {
    return decode<GetTopFileUploadResponseData>(std::move(answer));
}
CheckUserMailActivationStatusResponseData DataParser::parseCheckUserMailActivationStatusResponseData(value&& answer) {
    return decode<CheckUserMailActivationStatusResponseData>(std::move(answer));
}
UpdateFileUploadResponseData DataParser::parseUpdateFileUploadResponseData(value&& answer) {
    return decode<UpdateFileUploadResponseData>(std::move(answer));
}
GetTopFileRequestResponseData DataParser::parseGetTopFileRequestResponseData(value&& answer) {
    return decode<GetTopFileRequestResponseData>(std::move(answer));
}
UpdateFileRequestResponseData DataParser::parseUpdateFileRequestResponseData(value&& answer) {
    return decode<UpdateFileRequestResponseData>(std::move(answer));
}
std::vector<SyncFilesInTableAndCloudResponseData>
DataParser::parseSyncFilesInTableAndCloudResponseData(value&& answer) {
    return decodeList<SyncFilesInTableAndCloudResponseData>(std::move(answer));
}
UpdateComputerStatusResponseData DataParser::parseUpdateComputerStatusResponseData(value&& answer) {
    return decode<UpdateComputerStatusResponseData>(std::move(answer));
}
OneTimeSyncFilesResponseData DataParser::parseOneTimeSyncFilesResponseData(value&& answer) {
    return decode<OneTimeSyncFilesResponseData>(std::move(answer));
}
SendPasswordToMailIdResponseData DataParser::parseSendPasswordToMailIdResponseData(value&& answer) {
    return decode<SendPasswordToMailIdResponseData>(std::move(answer));
}
LogErrorResponseData DataParser::parseLogErrorResponseData(value&& answer) {
    return decode<LogErrorResponseData>(std::move(answer));
}
GetSharedFilesTransferDataResponseData DataParser::parseGetSharedFilesTransferDataResponseData(value&& answer) {
    return decode<GetSharedFilesTransferDataResponseData>(std::move(answer));
}
UpdateFileExistResponseData DataParser::parseUpdateFileExistResponseData(value&& answer) {
    return decode<UpdateFileExistResponseData>(std::move(answer));
}
UpdateFileSendReceivedResponseData DataParser::parseUpdateFileSendReceivedResponseData(value&& answer) {
    return decode<UpdateFileSendReceivedResponseData>(std::move(answer));
}
AnswerField DataParser::parseUploadFileWithStreamResponseData(value&& answer) {
    return bareStatus<UploadFileWithStreamResponseData>(std::move(answer));
}
AnswerField DataParser::parseUpdateSendFileToTransferResponseData(value&& answer) {
    return bareStatus<UpdateSendFileToTransferResponseData>(std::move(answer));
}
IsFileExistsInCloudResponseData DataParser::parseIsFileExistsInCloudResponseData(value&& answer) {
    return decode<IsFileExistsInCloudResponseData>(std::move(answer));
}
UpdateFileReceivedResponseData DataParser::parseUpdateFileReceivedResponseData(value&& answer) {
    return decode<UpdateFileReceivedResponseData>(std::move(answer));
}
DeleteReceivedFileFromTransferResponseData DataParser::parseDeleteReceivedFileFromTransferResponseData(value&& answer) {
    return decode<DeleteReceivedFileFromTransferResponseData>(std::move(answer));
}
InsertFileResponseData DataParser::parseInsertFileResponseData(value&& answer) {
    return decode<InsertFileResponseData>(std::move(answer));
}
InsertSharedFilesTransferResponseData DataParser::parseInsertSharedFilesTransferResponseData(value&& answer) {
    return decode<InsertSharedFilesTransferResponseData>(std::move(answer));
}
UpdateBSUploadStreamStartedResponseData DataParser::parseUpdateBSUploadStreamStartedResponseData(value&& answer) {
    return decode<UpdateBSUploadStreamStartedResponseData>(std::move(answer));
}
UpdateBSDownloadStreamStartedResponseData DataParser::parseUpdateBSDownloadStreamStartedResponseData(value&& answer) {
    return decode<UpdateBSDownloadStreamStartedResponseData>(std::move(answer));
}
UpdateBSDownloadStreamFailedResponseData DataParser::parseUpdateBSDownloadStreamFailedResponseData(value&& answer) {
    return decode<UpdateBSDownloadStreamFailedResponseData>(std::move(answer));
}
CheckFileExistsInDownloadsResponseData DataParser::parseCheckFileExistsInDownloadsResponseData(value&& answer) {
    return decode<CheckFileExistsInDownloadsResponseData>(std::move(answer));
}
UpdateBSUploadStreamFailedResponseData DataParser::parseUpdateBSUploadStreamFailedResponseData(value&& answer) {
    return decode<UpdateBSUploadStreamFailedResponseData>(std::move(answer));
}
CheckFileExistsInTransfersResponseData DataParser::parseCheckFileExistsInTransfersResponseData(value&& answer) {
    return decode<CheckFileExistsInTransfersResponseData>(std::move(answer));
}
UpdateBSSendStreamStartedResponseData DataParser::parseUpdateBSSendStreamstartedResponseData(value&& answer) {
    return decode<UpdateBSSendStreamStartedResponseData>(std::move(answer));
}
UpdateBSSendStreamFailedResponseData DataParser::parseUpdateBSSendStreamFailedResponseData(value&& answer) {
    return decode<UpdateBSSendStreamFailedResponseData>(std::move(answer));
}
UpdateBSReceiveStreamStartedResponseData DataParser::parseUpdateBSReceiveStreamStartedResponseData(value&& answer) {
    return decode<UpdateBSReceiveStreamStartedResponseData>(std::move(answer));
}
UpdateBSReceiveStreamFailedResponseData DataParser::parseUpdateBSReceiveStreamFailedResponseData(value&& answer) {
    return decode<UpdateBSReceiveStreamFailedResponseData>(std::move(answer));
}
GetTopFileDeleteResponseData DataParser::parseGetTopFileResponseData(value&& answer) {
    return decode<GetTopFileDeleteResponseData>(std::move(answer));
}
UpdateBSFileDeleteResponseData DataParser::parseUpdateBSFileDeleteResponseData(value&& answer) {
    return decode<UpdateBSFileDeleteResponseData>(std::move(answer));
}

} // namespace Quenmark
