#include "Services/RestInterface.h"

#include "Services/Catalogue.h"
#include "Services/OperationCall.h"
#include "Services/ServicesUtilities.h"

namespace Quenmark {

namespace {

/// Performs a row that the command-line tool and the generated reference know as well.
template <const auto& operation, class Query, class Handler>
void perform(const Query& query, Handler handler, const ServiceContext& context = {}) {
    static_assert(Catalogue::isListed(operation), "the row is missing in Catalogue::operations");
    Quenmark::perform(operation, query, std::move(handler), context);
}

} // namespace

bool RestInterface::isLessThan10_10() {
    return ServicesUtilities::isLessThan10_10();
}

void RestInterface::asyncUserRegistration(const UserRegistrationQuery& query,
                                          CompletionHandler<UserRegistrationResponseData> withCompletionHandler) {
    perform<Catalogue::userRegistration>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncRegisterComputer(const RegisterComputerQuery& query,
                                          CompletionHandler<RegisterComputerResponseData> withCompletionHandler) {
    perform<Catalogue::registerComputer>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncSendActivationMail(const SendActivationMailQuery& query,
                                            CompletionHandler<SendActivationMailResponseData> withCompletionHandler) {
    perform<Catalogue::sendActivationMail>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncOneTimeSyncOwnersSharedFolders(
    const OneTimeSyncOwnersSharedFoldersQuery& query,
    CompletionHandler<OneTimeSyncOwnersSharedFoldersResponseData> withCompletionHandler) {
    perform<Catalogue::oneTimeSyncOwnersSharedFolders>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncTransferFilesFromCloudToBaseSystem(
    const TransferFilesFromCloudToBaseSystemQuery& query,
    CompletionHandler<TransferFilesFromCloudToBaseSystemResponseData> withCompletionHandler) {
    perform<Catalogue::transferFilesFromCloudToBaseSystem>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncGetTopFileUpload(const GetTopFileUploadQuery& query,
                                          CompletionHandler<GetTopFileUploadResponseData> withCompletionHandler) {
    perform<Catalogue::getTopFileUpload>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncCheckUserMailActivationStatus(
    const CheckUserMailActivationStatusQuery& query,
    CompletionHandler<CheckUserMailActivationStatusResponseData> withCompletionHandler) {
    perform<Catalogue::checkUserMailActivationStatus>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileUpload(const UpdateFileUploadQuery& query,
                                          CompletionHandler<UpdateFileUploadResponseData> withCompletionHandler) {
    perform<Catalogue::updateFileUpload>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncGetTopFileRequest(const GetTopFileRequestQuery& query,
                                           CompletionHandler<GetTopFileRequestResponseData> withCompletionHandler) {
    perform<Catalogue::getTopFileRequest>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileRequest(const UpdateFileRequestQuery& query,
                                           CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler) {
    perform<Catalogue::updateFileRequest>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncSyncFilesInTableAndCloud(
    const std::vector<SyncFilesInTableAndCloudQuery>& query,
    CompletionHandler<std::vector<SyncFilesInTableAndCloudResponseData>> withCompletionHandler) {
    perform<Catalogue::syncFilesInTableAndCloud>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateComputerStatus(
    const UpdateComputerStatusQuery& query, CompletionHandler<UpdateComputerStatusResponseData> withCompletionHandler) {
    perform<Catalogue::updateComputerStatus>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncOneTimeSyncFiles(const OneTimeSyncFilesQuery& query,
                                          CompletionHandler<OneTimeSyncFilesResponseData> withCompletionHandler) {
    perform<Catalogue::oneTimeSyncFiles>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncSendPasswordToMailId(
    const SendPasswordToMailIdQuery& query,
    CompletionHandler<SendPasswordToMailIdResponseData> withCompiletionHandler) {
    perform<Catalogue::sendPasswordToMailId>(query, std::move(withCompiletionHandler));
}

void RestInterface::asyncGetTopFileUploadWithStream(const GetTopFileUploadQuery& query,
                                                    RawCompletionHandler withCompletionHandler) {
    perform<Catalogue::getTopFileUploadWithStream>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileRequestWithStream(
    const UpdateFileRequestQuery& query, CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler) {
    perform<Catalogue::updateFileRequestWithStream>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileRequestWithStream(
    const UpdateFileRequestQuery& query, CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler,
    UploadProgressHandler progress) {
    ServiceContext context;
    context.uploadProgress = std::move(progress);
    perform<Catalogue::updateFileRequestWithStream>(query, std::move(withCompletionHandler), context);
}

void RestInterface::asyncLogError(const LogErrorQuery& query,
                                  CompletionHandler<LogErrorResponseData> withCompiletionHandler) {
    perform<Catalogue::logError>(query, std::move(withCompiletionHandler));
}

void RestInterface::asyncGetSharedFilesTransferData(
    const GetSharedFilesTransferDataQuery& query,
    CompletionHandler<GetSharedFilesTransferDataResponseData> withCompletionHandler) {
    perform<Catalogue::getSharedFilesTransferData>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileExist(const UpdateFileExistQuery& query,
                                         CompletionHandler<UpdateFileExistResponseData> withCompletionHandler) {
    perform<Catalogue::updateFileExist>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateFileSendReceived(
    const UpdateFileSendReceivedQuery& query,
    CompletionHandler<UpdateFileSendReceivedResponseData> withCompletionHandler) {
    perform<Catalogue::updateFileSendReceived>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUploadFileWithStream(const UploadFileWithStreamQuery& query,
                                              CompletionHandler<ResponseField> withCompletionHandler) {
    perform<Catalogue::uploadFileWithStream>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncupdateSendFileToTransfer(const UpdateSendFileToTransferQuery& query,
                                                  CompletionHandler<ResponseField> withcompletionHandler) {
    perform<Catalogue::updateSendFileToTransfer>(query, std::move(withcompletionHandler));
}

void RestInterface::asyncIsFileExistsInCloud(
    const IsFileExistsInCloudQuery& query, CompletionHandler<IsFileExistsInCloudResponseData> withCompiletionHandler) {
    perform<Catalogue::isFileExistsInCloud>(query, std::move(withCompiletionHandler));
}

void RestInterface::asyncUpdateFileReceived(const UpdateFileReceivedQuery& query,
                                            CompletionHandler<UpdateFileReceivedResponseData> withCompiletionHandler) {
    perform<Catalogue::updateFileReceived>(query, std::move(withCompiletionHandler));
}

void RestInterface::asyncDeleteReceivedFileFromTransfer(
    const DeleteReceivedFileFromTransferQuery& query,
    CompletionHandler<DeleteReceivedFileFromTransferResponseData> withCompiletionHandler) {
    perform<Catalogue::deleteReceivedFileFromTransfer>(query, std::move(withCompiletionHandler));
}

void RestInterface::asyncInsertFile(const InsertFileQuery& query,
                                    CompletionHandler<InsertFileResponseData> withCompletionHandler) {
    perform<Catalogue::insertFile>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncInsertSharedFilesTransfer(
    const InsertSharedFilesTransferQuery& query,
    CompletionHandler<InsertSharedFilesTransferResponseData> withCompletionHandler) {
    perform<Catalogue::insertSharedFilesTransfer>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncupdateBSUploadStreamStart(
    const UpdateBSUploadStreamStartedQuery& query,
    CompletionHandler<UpdateBSUploadStreamStartedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSUploadStreamStart>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncCheckFileExistsInDownloads(
    const CheckFileExistsInDownloadsQuery& query,
    CompletionHandler<CheckFileExistsInDownloadsResponseData> withCompletionhandler) {
    perform<Catalogue::checkFileExistsInDownloads>(query, std::move(withCompletionhandler));
}

void RestInterface::asyncUpdateBSUploadStreamFailed(
    const UpdateBSUploadStreamFailedQuery& query,
    CompletionHandler<UpdateBSUploadStreamFailedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSUploadStreamFailed>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncCheckFileExistsInTransfers(
    const CheckFileExistsInTransfersQuery& query,
    CompletionHandler<CheckFileExistsInTransfersResponseData> withCompletionhandler) {
    perform<Catalogue::checkFileExistsInTransfers>(query, std::move(withCompletionhandler));
}

void RestInterface::asyncUpdateBSSendStreamStarted(
    const UpdateBSSendStreamStartedQuery& query,
    CompletionHandler<UpdateBSSendStreamStartedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSSendStreamStarted>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateBSSendStreamFailed(
    const UpdateBSSendStreamFailedQuery& query,
    CompletionHandler<UpdateBSSendStreamFailedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSSendStreamFailed>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateBSReceiveStreamStart(
    const UpdateBSReceiveStreamStartedQuery& query,
    CompletionHandler<UpdateBSReceiveStreamStartedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSReceiveStreamStart>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateBSReceiveStreamfailed(
    const UpdateBSReceiveStreamFailedQuery& query,
    CompletionHandler<UpdateBSReceiveStreamFailedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSReceiveStreamfailed>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncupdateBSDownloadStreamStart(
    const UpdateBSDownloadStreamStartedQuery& query,
    CompletionHandler<UpdateBSDownloadStreamStartedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSDownloadStreamStart>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncupdateBSDownloadStreamFailed(
    const UpdateBSDownloadStreamFailedQuery& query,
    CompletionHandler<UpdateBSDownloadStreamFailedResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSDownloadStreamFailed>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncGetTopFileDeleteRequest(
    const GetTopFileDeleteRequestQuery& query, CompletionHandler<GetTopFileDeleteResponseData> withCompletionHandler) {
    perform<Catalogue::getTopFileDeleteRequest>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncUpdateBSFileDeleted(const UpdateBSFileDeletedQuery& query,
                                             CompletionHandler<UpdateBSFileDeleteResponseData> withCompletionHandler) {
    perform<Catalogue::updateBSFileDeleted>(query, std::move(withCompletionHandler));
}

void RestInterface::asyncGetTopFileUpload(const GetTopFileUploadQuery& query,
                                          CompletionHandler<GetTopFileUploadResponseData> withCompletionHandler,
                                          const ServiceContext& context) {
    perform<Catalogue::getTopFileUpload>(query, std::move(withCompletionHandler), context);
}

void RestInterface::asyncUpdateFileUpload(const UpdateFileUploadQuery& query,
                                          CompletionHandler<UpdateFileUploadResponseData> withCompletionHandler,
                                          const ServiceContext& context) {
    perform<Catalogue::updateFileUpload>(query, std::move(withCompletionHandler), context);
}

void RestInterface::asyncLogError(const LogErrorQuery& query,
                                  CompletionHandler<LogErrorResponseData> withCompiletionHandler,
                                  const ServiceContext& context) {
    perform<Catalogue::logError>(query, std::move(withCompiletionHandler), context);
}

} // namespace Quenmark
