#pragma once

#include "Platform/UrlLoading/UrlRequest.h"
#include "Services/Requests.h"
#include "Services/Responses.h"
#include "Services/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace Quenmark {

struct ServiceContext;

/// The web service: one function for each of its operations. A call returns at once. Its completion handler is called
/// at most once, with the response's record and `RestStatusSuccess`, or with nil or an error and another status.
///
/// Statuses `RestStatusNotReachable` and `RestStatusEncodeError` are reported before the call returns. Every other one
/// is reported later: on the main queue, or, on releases from 10.7 up to 10.9, on a queue of the request's own. The
/// handler is never called when the transfer ends with the error code -1, nor when the response has not the shape that
/// its parser needs (the exception then goes to the run loop, which logs it).
///
/// The response's own "ReturnStatus" is not examined here: a call that the service refused has `RestStatusSuccess`
/// too. The functions keep no state, and may be called from any thread: a call from another one than the run loop's is
/// posted to the loop, which makes it on the main queue, and whose thread every handler runs on. A handler must not be
/// empty.
class RestInterface {
public:
    RestInterface() = delete;

    /// Whether the release is at least 10.7 and older than 10.10 (ServicesUtilities.h).
    static bool isLessThan10_10();

    /// The status line, header fields and complete body of an undecoded response, both nil when the status is not
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
    /// Requests the next pending item of a computer.
    static void asyncGetTopFileUpload(const GetTopFileUploadQuery& query,
                                      CompletionHandler<GetTopFileUploadResponseData> withCompletionHandler);
    /// Queries whether a user has confirmed the account.
    static void asyncCheckUserMailActivationStatus(
        const CheckUserMailActivationStatusQuery& query,
        CompletionHandler<CheckUserMailActivationStatusResponseData> withCompletionHandler);
    /// Acknowledges one received item.
    static void asyncUpdateFileUpload(const UpdateFileUploadQuery& query,
                                      CompletionHandler<UpdateFileUploadResponseData> withCompletionHandler);
    /// Requests the next file that is requested from a computer.
    static void asyncGetTopFileRequest(const GetTopFileRequestQuery& query,
                                       CompletionHandler<GetTopFileRequestResponseData> withCompletionHandler);
    /// Reports that a requested file is in transit.
    static void asyncUpdateFileRequest(const UpdateFileRequestQuery& query,
                                       CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler);
    /// Reports a list of changes; the response has one status for each.
    static void asyncSyncFilesInTableAndCloud(
        const std::vector<SyncFilesInTableAndCloudQuery>& query,
        CompletionHandler<std::vector<SyncFilesInTableAndCloudResponseData>> withCompletionHandler);
    /// Reports that a computer is alive.
    static void asyncUpdateComputerStatus(const UpdateComputerStatusQuery& query,
                                          CompletionHandler<UpdateComputerStatusResponseData> withCompletionHandler);
    /// Uploads the complete file table of a computer.
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
    /// How many bytes of a file were sent so far, and how many there are.
    using UploadProgressHandler = std::function<void(std::uint64_t bytesSent, std::uint64_t bytesTotal)>;
    /// As above, with the progress of the upload: `progress` is called on the main queue, at most ten times a second,
    /// when more was sent, and always before `withCompletionHandler`; where a redirect has the file sent again, once
    /// that has come further. The last call says that everything was sent, unless the upload fails or the HTTP status
    /// is 400 or above. For an empty file there is no call.
    static void asyncUpdateFileRequestWithStream(const UpdateFileRequestQuery& query,
                                                 CompletionHandler<UpdateFileRequestResponseData> withCompletionHandler,
                                                 UploadProgressHandler progress);
    /// Reports a failure to the error log.
    static void asyncLogError(const LogErrorQuery& query,
                              CompletionHandler<LogErrorResponseData> withCompiletionHandler);
    /// Requests the complete sharing state of a user and computer.
    static void
    asyncGetSharedFilesTransferData(const GetSharedFilesTransferDataQuery& query,
                                    CompletionHandler<GetSharedFilesTransferDataResponseData> withCompletionHandler);
    /// Reports that a shared file exists already.
    static void asyncUpdateFileExist(const UpdateFileExistQuery& query,
                                     CompletionHandler<UpdateFileExistResponseData> withCompletionHandler);
    /// Reports that a sent file has been received.
    static void
    asyncUpdateFileSendReceived(const UpdateFileSendReceivedQuery& query,
                                CompletionHandler<UpdateFileSendReceivedResponseData> withCompletionHandler);
    /// Announces a file that is to be streamed up. The handler receives the bare status, and only where there is none:
    /// a response with a status fails to parse.
    static void asyncUploadFileWithStream(const UploadFileWithStreamQuery& query,
                                          CompletionHandler<ResponseField> withCompletionHandler);
    /// Announces a file that is to be sent. The handler receives the bare status, and only where there is none: a
    /// response with a status fails to parse.
    static void asyncupdateSendFileToTransfer(const UpdateSendFileToTransferQuery& query,
                                              CompletionHandler<ResponseField> withcompletionHandler);
    /// Queries whether the cloud holds a file.
    static void asyncIsFileExistsInCloud(const IsFileExistsInCloudQuery& query,
                                         CompletionHandler<IsFileExistsInCloudResponseData> withCompiletionHandler);
    /// Reports that a shared file has been received.
    static void asyncUpdateFileReceived(const UpdateFileReceivedQuery& query,
                                        CompletionHandler<UpdateFileReceivedResponseData> withCompiletionHandler);
    /// Removes a received file from the transfers.
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
    /// Reports that the stream of an upload has started.
    static void
    asyncupdateBSUploadStreamStart(const UpdateBSUploadStreamStartedQuery& query,
                                   CompletionHandler<UpdateBSUploadStreamStartedResponseData> withCompletionHandler);
    /// Queries how much of a requested file the service holds.
    static void
    asyncCheckFileExistsInDownloads(const CheckFileExistsInDownloadsQuery& query,
                                    CompletionHandler<CheckFileExistsInDownloadsResponseData> withCompletionhandler);
    /// Reports that the stream of an upload has failed.
    static void
    asyncUpdateBSUploadStreamFailed(const UpdateBSUploadStreamFailedQuery& query,
                                    CompletionHandler<UpdateBSUploadStreamFailedResponseData> withCompletionHandler);
    /// Queries how much of a shared file the service holds.
    static void
    asyncCheckFileExistsInTransfers(const CheckFileExistsInTransfersQuery& query,
                                    CompletionHandler<CheckFileExistsInTransfersResponseData> withCompletionhandler);
    /// Reports that the stream of a sent file has started.
    static void
    asyncUpdateBSSendStreamStarted(const UpdateBSSendStreamStartedQuery& query,
                                   CompletionHandler<UpdateBSSendStreamStartedResponseData> withCompletionHandler);
    /// Reports that the stream of a sent file has failed.
    static void
    asyncUpdateBSSendStreamFailed(const UpdateBSSendStreamFailedQuery& query,
                                  CompletionHandler<UpdateBSSendStreamFailedResponseData> withCompletionHandler);
    /// Reports that the stream of a received file has started.
    static void
    asyncUpdateBSReceiveStreamStart(const UpdateBSReceiveStreamStartedQuery& query,
                                    CompletionHandler<UpdateBSReceiveStreamStartedResponseData> withCompletionHandler);
    /// Reports that the stream of a received file has failed.
    static void
    asyncUpdateBSReceiveStreamfailed(const UpdateBSReceiveStreamFailedQuery& query,
                                     CompletionHandler<UpdateBSReceiveStreamFailedResponseData> withCompletionHandler);
    /// Reports that the stream of a requested file has started.
    static void asyncupdateBSDownloadStreamStart(
        const UpdateBSDownloadStreamStartedQuery& query,
        CompletionHandler<UpdateBSDownloadStreamStartedResponseData> withCompletionHandler);
    /// Reports that the stream of a requested file has failed. No URL can be formed from its path: it ends with
    /// `RestStatusTransportError`, and nothing is sent.
    static void asyncupdateBSDownloadStreamFailed(
        const UpdateBSDownloadStreamFailedQuery& query,
        CompletionHandler<UpdateBSDownloadStreamFailedResponseData> withCompletionHandler);
    /// Requests the next file that is to be deleted.
    static void asyncGetTopFileDeleteRequest(const GetTopFileDeleteRequestQuery& query,
                                             CompletionHandler<GetTopFileDeleteResponseData> withCompletionHandler);
    /// Reports that a file has been deleted as requested.
    static void asyncUpdateBSFileDeleted(const UpdateBSFileDeletedQuery& query,
                                         CompletionHandler<UpdateBSFileDeleteResponseData> withCompletionHandler);

    /// @cond INTERNAL
    // What the engine requests, in the context that it was handed.
    static void asyncGetTopFileUpload(const GetTopFileUploadQuery& query,
                                      CompletionHandler<GetTopFileUploadResponseData> withCompletionHandler,
                                      const ServiceContext& context);
    static void asyncUpdateFileUpload(const UpdateFileUploadQuery& query,
                                      CompletionHandler<UpdateFileUploadResponseData> withCompletionHandler,
                                      const ServiceContext& context);
    static void asyncLogError(const LogErrorQuery& query,
                              CompletionHandler<LogErrorResponseData> withCompiletionHandler,
                              const ServiceContext& context);
    /// @endcond
};

} // namespace Quenmark
