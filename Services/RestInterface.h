#pragma once

#include "Platform/UrlLoading/UrlRequest.h"
#include "Services/Requests/CheckFileExistsInDownloadsQuery.h"
#include "Services/Requests/CheckFileExistsInTransfersQuery.h"
#include "Services/Requests/CheckUserMailActivationStatusQuery.h"
#include "Services/Requests/DeleteReceivedFileFromTransferQuery.h"
#include "Services/Requests/GetSharedFilesTransferDataQuery.h"
#include "Services/Requests/GetTopFileDeleteRequestQuery.h"
#include "Services/Requests/GetTopFileRequestQuery.h"
#include "Services/Requests/GetTopFileUploadQuery.h"
#include "Services/Requests/InsertFileQuery.h"
#include "Services/Requests/InsertSharedFilesTransferQuery.h"
#include "Services/Requests/IsFileExistsInCloudQuery.h"
#include "Services/Requests/LogErrorQuery.h"
#include "Services/Requests/OneTimeSyncFilesQuery.h"
#include "Services/Requests/OneTimeSyncOwnersSharedFoldersQuery.h"
#include "Services/Requests/RegisterComputerQuery.h"
#include "Services/Requests/SendActivationMailQuery.h"
#include "Services/Requests/SendPasswordToMailIdQuery.h"
#include "Services/Requests/SyncFilesInTableAndCloudQuery.h"
#include "Services/Requests/TransferFilesFromCloudToBaseSystemQuery.h"
#include "Services/Requests/UpdateBSDownloadStreamFailedQuery.h"
#include "Services/Requests/UpdateBSDownloadStreamStartedQuery.h"
#include "Services/Requests/UpdateBSFileDeletedQuery.h"
#include "Services/Requests/UpdateBSReceiveStreamFailedQuery.h"
#include "Services/Requests/UpdateBSReceiveStreamStartedQuery.h"
#include "Services/Requests/UpdateBSSendStreamFailedQuery.h"
#include "Services/Requests/UpdateBSSendStreamStartedQuery.h"
#include "Services/Requests/UpdateBSUploadStreamFailedQuery.h"
#include "Services/Requests/UpdateBSUploadStreamStartedQuery.h"
#include "Services/Requests/UpdateComputerStatusQuery.h"
#include "Services/Requests/UpdateFileExistQuery.h"
#include "Services/Requests/UpdateFileReceivedQuery.h"
#include "Services/Requests/UpdateFileRequestQuery.h"
#include "Services/Requests/UpdateFileSendReceivedQuery.h"
#include "Services/Requests/UpdateFileUploadQuery.h"
#include "Services/Requests/UpdateSendFileToTransferQuery.h"
#include "Services/Requests/UploadFileWithStreamQuery.h"
#include "Services/Requests/UserRegistrationQuery.h"
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
#include "Services/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Quenmark {

/// The web service: one function for each of its operations. A call returns at once. Its completion handler is called
/// at most once, with the answer's record and `RestStatusSuccess`, or with nil or an error and another status.
///
/// Statuses `RestStatusNotReachable` and `RestStatusEncodeError` are reported before the call returns. Every other one
/// is reported later: on the main queue, or, on releases from 10.7 up to 10.9, on a queue of the request's own. The
/// handler is never called when the transfer ends with the error code -1, nor when the answer has not the shape that
/// its parser needs (the exception then goes to the run loop, which logs it).
///
/// The answer's own "ReturnStatus" is not looked at here: a call that the service refused has `RestStatusSuccess` too.
/// The functions keep no state, and may be called from any thread: a call from another one than the run loop's is
/// posted to the loop, which makes it on the main queue, and whose thread every handler runs on. A handler must not be
/// empty.
class RestInterface {
public:
    RestInterface() = delete;

    /// Whether the release is at least 10.7 and older than 10.10 (ServicesUtilities.h).
    static bool isLessThan10_10();

    /// The head and the whole body of an answer that is handed on as it is, both nil when the status is not
    /// `RestStatusSuccess`.
    using RawCompletionHandler = std::function<void(std::optional<Platform::HttpUrlResponse>,
                                                    std::optional<Platform::Data>, std::int64_t status)>;

    /// Signs a user in, registering the user where new.
    static void asyncUserRegistration(const UserRegistrationQuery& query,
                                      CompletionHandler<UserRegistrationResponseData> withCompletionHandler);
    /// Registers a computer of a user.
    static void asyncRegisterComputer(const RegisterComputerQuery& query,
                                      CompletionHandler<RegisterComputerResponseData> withCompletionHandler);
    /// Has the mail sent that confirms an account.
    static void asyncSendActivationMail(const SendActivationMailQuery& query,
                                        CompletionHandler<SendActivationMailResponseData> withCompletionHandler);
    /// Has the folders that others share with a user offered to a computer.
    static void asyncOneTimeSyncOwnersSharedFolders(
        const OneTimeSyncOwnersSharedFoldersQuery& query,
        CompletionHandler<OneTimeSyncOwnersSharedFoldersResponseData> withCompletionHandler);
    /// Has a user's files in the cloud offered to a computer.
    static void asyncTransferFilesFromCloudToBaseSystem(
        const TransferFilesFromCloudToBaseSystemQuery& query,
        CompletionHandler<TransferFilesFromCloudToBaseSystemResponseData> withCompletionHandler);
    /// Asks for the next item that waits for a computer.
    static void asyncGetTopFileUpload(const GetTopFileUploadQuery& query,
                                      CompletionHandler<GetTopFileUploadResponseData> withCompletionHandler);
    /// Asks whether a user has confirmed the account.
    static void asyncCheckUserMailActivationStatus(
        const CheckUserMailActivationStatusQuery& query,
        CompletionHandler<CheckUserMailActivationStatusResponseData> withCompletionHandler);
    /// Acknowledges one received item.
    static void asyncUpdateFileUpload(const UpdateFileUploadQuery& query,
                                      CompletionHandler<UpdateFileUploadResponseData> withCompletionHandler);
    /// Asks for the next file that others want from a computer.
    static void asyncGetTopFileRequest(const GetTopFileRequestQuery& query,
                                       CompletionHandler<GetTopFileRequestResponseData> withCompletionHandler);
    /// Answers a file request.
    static void asyncUpdateFileRequest(const UpdateFileRequestQuery& query,
                                       CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler);
    /// Reports a list of changes; the answer has one status for each.
    static void asyncSyncFilesInTableAndCloud(
        const std::vector<SyncFilesInTableAndCloudQuery>& query,
        CompletionHandler<std::vector<SyncFilesInTableAndCloudResponseData>> withCompletionHandler);
    /// Tells that a computer is alive.
    static void asyncUpdateComputerStatus(const UpdateComputerStatusQuery& query,
                                          CompletionHandler<UpdateComputerStatusResponseData> withCompletionHandler);
    /// Hands over the whole file table of a computer.
    static void asyncOneTimeSyncFiles(const OneTimeSyncFilesQuery& query,
                                      CompletionHandler<OneTimeSyncFilesResponseData> withCompletionHandler);
    /// Has a forgotten password sent.
    static void asyncSendPasswordToMailId(const SendPasswordToMailIdQuery& query,
                                          CompletionHandler<SendPasswordToMailIdResponseData> withCompiletionHandler);
    /// Streams the next item down into memory. Does nothing, and never calls the handler, on releases 10.7 to 10.9.
    static void asyncGetTopFileUploadWithStream(const GetTopFileUploadQuery& query,
                                                RawCompletionHandler withCompletionHandler);
    /// Sends a requested file: the one at "FilePath" is copied to the home directory under its own name, replacing a
    /// file of that name, sent, and the copy removed. Does nothing, and never calls the handler, on releases 10.7
    /// to 10.9.
    static void
    asyncUpdateFileRequestWithStream(const UpdateFileRequestQuery& query,
                                     CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler);
    /// Reports a failure to the error log.
    static void asyncLogError(const LogErrorQuery& query,
                              CompletionHandler<LogErrorResponseData> withCompiletionHandler);
    /// Asks for the whole state of sharing of a user and computer.
    static void
    asyncGetSharedFilesTransferData(const GetSharedFilesTransferDataQuery& query,
                                    CompletionHandler<GetSharedFilesTransferDataResponseData> withCompletionHandler);
    /// Tells that a shared file is already there.
    static void asyncUpdateFileExist(const UpdateFileExistQuery& query,
                                     CompletionHandler<UpdateFileExistResponseData> withCompletionHandler);
    /// Tells that a sent file has been received.
    static void
    asyncUpdateFileSendReceived(const UpdateFileSendReceivedQuery& query,
                                CompletionHandler<UpdateFileSendReceivedResponseData> withCompletionHandler);
    /// Announces a file that is to be streamed up. The handler is given the bare status, and only where there is none:
    /// an answer with a status fails to parse.
    static void asyncUploadFileWithStream(const UploadFileWithStreamQuery& query,
                                          CompletionHandler<AnswerField> withCompletionHandler);
    /// Announces a file that is to be sent. The handler is given the bare status, and only where there is none: an
    /// answer with a status fails to parse.
    static void asyncupdateSendFileToTransfer(const UpdateSendFileToTransferQuery& query,
                                              CompletionHandler<AnswerField> withcompletionHandler);
    /// Asks whether the cloud holds a file.
    static void asyncIsFileExistsInCloud(const IsFileExistsInCloudQuery& query,
                                         CompletionHandler<IsFileExistsInCloudResponseData> withCompiletionHandler);
    /// Tells that a shared file has been received.
    static void asyncUpdateFileReceived(const UpdateFileReceivedQuery& query,
                                        CompletionHandler<UpdateFileReceivedResponseData> withCompiletionHandler);
    /// Takes a received file out of the transfers.
    static void asyncDeleteReceivedFileFromTransfer(
        const DeleteReceivedFileFromTransferQuery& query,
        CompletionHandler<DeleteReceivedFileFromTransferResponseData> withCompiletionHandler);
    /// Adds a file to the file table.
    static void asyncInsertFile(const InsertFileQuery& query,
                                CompletionHandler<InsertFileResponseData> withCompletionHandler);
    /// Adds a transfer of a shared file.
    static void
    asyncInsertSharedFilesTransfer(const InsertSharedFilesTransferQuery& query,
                                   CompletionHandler<InsertSharedFilesTransferResponseData> withCompletionHandler);
    /// Tells that the stream of an upload has started.
    static void
    asyncupdateBSUploadStreamStart(const UpdateBSUploadStreamStartedQuery& query,
                                   CompletionHandler<UpdateBSUploadStreamStartedResponseData> withCompletionHandler);
    /// Asks how much of a requested file the service holds.
    static void
    asyncCheckFileExistsInDownloads(const CheckFileExistsInDownloadsQuery& query,
                                    CompletionHandler<CheckFileExistsInDownloadsResponseData> withCompletionhandler);
    /// Tells that the stream of an upload has failed.
    static void
    asyncUpdateBSUploadStreamFailed(const UpdateBSUploadStreamFailedQuery& query,
                                    CompletionHandler<UpdateBSUploadStreamFailedResponseData> withCompletionHandler);
    /// Asks how much of a shared file the service holds.
    static void
    asyncCheckFileExistsInTransfers(const CheckFileExistsInTransfersQuery& query,
                                    CompletionHandler<CheckFileExistsInTransfersResponseData> withCompletionhandler);
    /// Tells that the stream of a sent file has started.
    static void
    asyncUpdateBSSendStreamStarted(const UpdateBSSendStreamStartedQuery& query,
                                   CompletionHandler<UpdateBSSendStreamStartedResponseData> withCompletionHandler);
    /// Tells that the stream of a sent file has failed.
    static void
    asyncUpdateBSSendStreamFailed(const UpdateBSSendStreamFailedQuery& query,
                                  CompletionHandler<UpdateBSSendStreamFailedResponseData> withCompletionHandler);
    /// Tells that the stream of a received file has started.
    static void
    asyncUpdateBSReceiveStreamStart(const UpdateBSReceiveStreamStartedQuery& query,
                                    CompletionHandler<UpdateBSReceiveStreamStartedResponseData> withCompletionHandler);
    /// Tells that the stream of a received file has failed.
    static void
    asyncUpdateBSReceiveStreamfailed(const UpdateBSReceiveStreamFailedQuery& query,
                                     CompletionHandler<UpdateBSReceiveStreamFailedResponseData> withCompletionHandler);
    /// Tells that the stream of a requested file has started.
    static void asyncupdateBSDownloadStreamStart(
        const UpdateBSDownloadStreamStartedQuery& query,
        CompletionHandler<UpdateBSDownloadStreamStartedResponseData> withCompletionHandler);
    /// Tells that the stream of a requested file has failed. No URL can be formed from its path: it ends with
    /// `RestStatusTransportError`, and nothing is sent.
    static void asyncupdateBSDownloadStreamFailed(
        const UpdateBSDownloadStreamFailedQuery& query,
        CompletionHandler<UpdateBSDownloadStreamFailedResponseData> withCompletionHandler);
    /// Asks for the next file that is to be deleted.
    static void asyncGetTopFileDeleteRequest(const GetTopFileDeleteRequestQuery& query,
                                             CompletionHandler<GetTopFileDeleteResponseData> withCompletionHandler);
    /// Tells that a file has been deleted as asked.
    static void asyncUpdateBSFileDeleted(const UpdateBSFileDeletedQuery& query,
                                         CompletionHandler<UpdateBSFileDeleteResponseData> withCompletionHandler);
};

} // namespace Quenmark
