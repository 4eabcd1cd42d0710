#pragma once

#include "Services/Operation.h"
#include "Services/Requests.h"
#include "Services/Responses.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>
#include <vector>

namespace Quenmark {

/// Every operation of the web service, in the order of the facade. A new operation is a row here, its place in
/// `operations`, a function of the facade (RestInterface.h) and its records.
namespace Catalogue {

inline constexpr Operation<UserRegistrationQuery, UserRegistrationResponseData> userRegistration{
    .name = "asyncUserRegistration", .path = "Registration.svc/VerifyAndRegisterUserFromTool"};
inline constexpr Operation<RegisterComputerQuery, RegisterComputerResponseData> registerComputer{
    .name = "asyncRegisterComputer", .path = "Registration.svc/RegisterComputer"};
inline constexpr Operation<SendActivationMailQuery, SendActivationMailResponseData> sendActivationMail{
    .name = "asyncSendActivationMail", .path = "Registration.svc/SendActivationMail"};
inline constexpr Operation<OneTimeSyncOwnersSharedFoldersQuery, OneTimeSyncOwnersSharedFoldersResponseData>
    oneTimeSyncOwnersSharedFolders{.name = "asyncOneTimeSyncOwnersSharedFolders",
                                   .path = "Registration.svc/OneTimeSyncOwnersSharedFolders"};
inline constexpr Operation<TransferFilesFromCloudToBaseSystemQuery, TransferFilesFromCloudToBaseSystemResponseData>
    transferFilesFromCloudToBaseSystem{.name = "asyncTransferFilesFromCloudToBaseSystem",
                                       .path = "Registration.svc/TransferFilesFromCloudToBaseSystem"};
inline constexpr Operation<GetTopFileUploadQuery, GetTopFileUploadResponseData> getTopFileUpload{
    .name = "asyncGetTopFileUpload", .path = "Uploads.svc/GetTopFileUpload"};
inline constexpr Operation<CheckUserMailActivationStatusQuery, CheckUserMailActivationStatusResponseData>
    checkUserMailActivationStatus{.name = "asyncCheckUserMailActivationStatus",
                                  .path = "Registration.svc/CheckUserMailActivationStatus"};
inline constexpr Operation<UpdateFileUploadQuery, UpdateFileUploadResponseData> updateFileUpload{
    .name = "asyncUpdateFileUpload", .path = "Uploads.svc/UpdateFileUpload"};
inline constexpr Operation<GetTopFileRequestQuery, GetTopFileRequestResponseData> getTopFileRequest{
    .name = "asyncGetTopFileRequest", .path = "Downloads.svc/GetTopFileRequest"};
inline constexpr Operation<UpdateFileRequestQuery, UpdateFileRequestResponseData> updateFileRequest{
    .name = "asyncUpdateFileRequest", .path = "Downloads.svc/UpdateFileRequest"};
inline constexpr Operation<std::vector<SyncFilesInTableAndCloudQuery>,
                           std::vector<SyncFilesInTableAndCloudResponseData>>
    syncFilesInTableAndCloud{.name = "asyncSyncFilesInTableAndCloud",
                             .path = "SyncFileChanges.svc/SyncFilesInTableAndCloud",
                             .variant = OperationVariant::PostList};
inline constexpr Operation<UpdateComputerStatusQuery, UpdateComputerStatusResponseData> updateComputerStatus{
    .name = "asyncUpdateComputerStatus", .path = "UpdateSystemTime.svc/UpdateComputerStatus"};
inline constexpr Operation<OneTimeSyncFilesQuery, OneTimeSyncFilesResponseData> oneTimeSyncFiles{
    .name = "asyncOneTimeSyncFiles", .path = "Registration.svc/OneTimeSyncFiles"};
inline constexpr Operation<SendPasswordToMailIdQuery, SendPasswordToMailIdResponseData> sendPasswordToMailId{
    .name = "asyncSendPasswordToMailId",
    .handlerKeyword = "withCompiletionHandler",
    .path = "Registration.svc/SendPasswordToMailID",
    .log = {.parameters = ""}};
inline constexpr Operation<GetTopFileUploadQuery, RawResponse> getTopFileUploadWithStream{
    .name = "asyncGetTopFileUploadWithStream",
    .path = "Uploads.svc/GetTopFileUploadWithStream",
    .variant = OperationVariant::RawStream};
inline constexpr Operation<UpdateFileRequestQuery, UpdateFileRequestResponseData> updateFileRequestWithStream{
    .name = "asyncUpdateFileRequestWithStream",
    .path = "Downloads.svc/UpdateFileRequestWithStream",
    .variant = OperationVariant::HeaderUpload,
    .log = {.parameters = "strem dictionary "}};
inline constexpr Operation<LogErrorQuery, LogErrorResponseData> logError{.name = "asyncLogError",
                                                                         .handlerKeyword = "withCompiletionHandler",
                                                                         .path = "MAC/ErrorLog.svc/LogError",
                                                                         .log = {.parameters = ""}};
inline constexpr Operation<GetSharedFilesTransferDataQuery, GetSharedFilesTransferDataResponseData>
    getSharedFilesTransferData{.name = "asyncGetSharedFilesTransferData",
                               .path = "MAC/SharedFiles.svc/GetSharedFilesTransferData",
                               .log = {.parameters = " "}};
inline constexpr Operation<UpdateFileExistQuery, UpdateFileExistResponseData> updateFileExist{
    .name = "asyncUpdateFileExist",
    .path = "MAC/SharedFiles.svc/UpdateFileExists",
    .log = {.parameters = "data from updatefileexist."}};
inline constexpr Operation<UpdateFileSendReceivedQuery, UpdateFileSendReceivedResponseData> updateFileSendReceived{
    .name = "asyncUpdateFileSendReceived",
    .path = "MAC/SharedFiles.svc/UpdateFileSendReceived",
    .log = {.parameters = "data from updatefilesendreceived."}};
inline constexpr Operation<UploadFileWithStreamQuery, ResponseField> uploadFileWithStream{
    .name = "asyncUploadFileWithStream",
    .path = "MAC/SharedFiles.svc/UploadFileWithStream",
    .decode = &decodeStatus<UploadFileWithStreamResponseData>,
    .variant = OperationVariant::PostForStatus,
    .log = {.parameters = "data from uploadfilewithstream."}};
inline constexpr Operation<UpdateSendFileToTransferQuery, ResponseField> updateSendFileToTransfer{
    .name = "asyncupdateSendFileToTransfer",
    .handlerKeyword = "withcompletionHandler",
    .path = "MAC/SharedFiles.svc/UpdateSendFileToTransfer",
    .decode = &decodeStatus<UpdateSendFileToTransferResponseData>,
    .variant = OperationVariant::PostForStatus,
    .log = {.parameters = "data from updatesendfiletotransfer."}};
inline constexpr Operation<IsFileExistsInCloudQuery, IsFileExistsInCloudResponseData> isFileExistsInCloud{
    .name = "asyncIsFileExistsInCloud",
    .handlerKeyword = "withCompiletionHandler",
    .path = "MAC/SharedFiles.svc/IsFileExistsInCloud",
    .log = {.parameters = "data in could query...",
            .completion = "rest connector at cloud ....",
            .failure = "trace code error...........",
            .success = "trace code sucesss........."}};
inline constexpr Operation<UpdateFileReceivedQuery, UpdateFileReceivedResponseData> updateFileReceived{
    .name = "asyncUpdateFileReceived",
    .handlerKeyword = "withCompiletionHandler",
    .path = "MAC/SharedFiles.svc/UpdateFileReceived"};
inline constexpr Operation<DeleteReceivedFileFromTransferQuery, DeleteReceivedFileFromTransferResponseData>
    deleteReceivedFileFromTransfer{.name = "asyncDeleteReceivedFileFromTransfer",
                                   .handlerKeyword = "withCompiletionHandler",
                                   .path = "MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer",
                                   .log = {.parameters = "data for delete Received File from Transfer.....",
                                           .failure = "  trce code error deleteReceivedFile From Transfer ............",
                                           .success = "trace code sucess.............."}};
inline constexpr Operation<InsertFileQuery, InsertFileResponseData> insertFile{
    .name = "asyncInsertFile", .path = "SyncFileChanges.svc/InsertFile"};
inline constexpr Operation<InsertSharedFilesTransferQuery, InsertSharedFilesTransferResponseData>
    insertSharedFilesTransfer{.name = "asyncInsertSharedFilesTransfer",
                              .path = "SyncFileChanges.svc/InsertSharedFilesTransfer"};
inline constexpr Operation<UpdateBSUploadStreamStartedQuery, UpdateBSUploadStreamStartedResponseData>
    updateBSUploadStreamStart{.name = "asyncupdateBSUploadStreamStart",
                              .path = "Uploads.svc/UpdateBSUploadStreamStarted"};
inline constexpr Operation<CheckFileExistsInDownloadsQuery, CheckFileExistsInDownloadsResponseData>
    checkFileExistsInDownloads{.name = "asyncCheckFileExistsInDownloads",
                               .handlerKeyword = "withCompletionhandler",
                               .path = "Downloads.svc/CheckFileExistsInDownloads"};
inline constexpr Operation<UpdateBSUploadStreamFailedQuery, UpdateBSUploadStreamFailedResponseData>
    updateBSUploadStreamFailed{.name = "asyncUpdateBSUploadStreamFailed",
                               .path = "Uploads.svc/UpdateBSUploadStreamFailed"};
inline constexpr Operation<CheckFileExistsInTransfersQuery, CheckFileExistsInTransfersResponseData>
    checkFileExistsInTransfers{.name = "asyncCheckFileExistsInTransfers",
                               .handlerKeyword = "withCompletionhandler",
                               .path = "MAC/SharedFiles.svc/CheckFileExistsInTransfers"};
inline constexpr Operation<UpdateBSSendStreamStartedQuery, UpdateBSSendStreamStartedResponseData>
    updateBSSendStreamStarted{.name = "asyncUpdateBSSendStreamStarted",
                              .path = "MAC/SharedFiles.svc/UpdateBSSendStreamStarted"};
inline constexpr Operation<UpdateBSSendStreamFailedQuery, UpdateBSSendStreamFailedResponseData>
    updateBSSendStreamFailed{.name = "asyncUpdateBSSendStreamFailed",
                             .path = "MAC/SharedFiles.svc/UpdateBSSendStreamFailed"};
inline constexpr Operation<UpdateBSReceiveStreamStartedQuery, UpdateBSReceiveStreamStartedResponseData>
    updateBSReceiveStreamStart{.name = "asyncUpdateBSReceiveStreamStart",
                               .path = "MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted"};
inline constexpr Operation<UpdateBSReceiveStreamFailedQuery, UpdateBSReceiveStreamFailedResponseData>
    updateBSReceiveStreamfailed{.name = "asyncUpdateBSReceiveStreamfailed",
                                .path = "MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed"};
inline constexpr Operation<UpdateBSDownloadStreamStartedQuery, UpdateBSDownloadStreamStartedResponseData>
    updateBSDownloadStreamStart{.name = "asyncupdateBSDownloadStreamStart",
                                .path = "Downloads.svc/UpdateBSDownloadStreamStarted"};
/// The object replacement character at the end of the path is required: no URL can be formed, and nothing is sent.
inline constexpr Operation<UpdateBSDownloadStreamFailedQuery, UpdateBSDownloadStreamFailedResponseData>
    updateBSDownloadStreamFailed{.name = "asyncupdateBSDownloadStreamFailed",
                                 .path = "Downloads.svc/UpdateBSDownloadStreamFailed\uFFFC"};
inline constexpr Operation<GetTopFileDeleteRequestQuery, GetTopFileDeleteResponseData> getTopFileDeleteRequest{
    .name = "asyncGetTopFileDeleteRequest", .path = "Downloads.svc/GetTopFileDeleteRequest"};
inline constexpr Operation<UpdateBSFileDeletedQuery, UpdateBSFileDeleteResponseData> updateBSFileDeleted{
    .name = "asyncUpdateBSFileDeleted", .path = "Downloads.svc/UpdateBSFileDeleted"};

/// Every row. The facade does not compile where it performs one that is left out.
inline constexpr std::tuple operations{userRegistration,
                                       registerComputer,
                                       sendActivationMail,
                                       oneTimeSyncOwnersSharedFolders,
                                       transferFilesFromCloudToBaseSystem,
                                       getTopFileUpload,
                                       checkUserMailActivationStatus,
                                       updateFileUpload,
                                       getTopFileRequest,
                                       updateFileRequest,
                                       syncFilesInTableAndCloud,
                                       updateComputerStatus,
                                       oneTimeSyncFiles,
                                       sendPasswordToMailId,
                                       getTopFileUploadWithStream,
                                       updateFileRequestWithStream,
                                       logError,
                                       getSharedFilesTransferData,
                                       updateFileExist,
                                       updateFileSendReceived,
                                       uploadFileWithStream,
                                       updateSendFileToTransfer,
                                       isFileExistsInCloud,
                                       updateFileReceived,
                                       deleteReceivedFileFromTransfer,
                                       insertFile,
                                       insertSharedFilesTransfer,
                                       updateBSUploadStreamStart,
                                       checkFileExistsInDownloads,
                                       updateBSUploadStreamFailed,
                                       checkFileExistsInTransfers,
                                       updateBSSendStreamStarted,
                                       updateBSSendStreamFailed,
                                       updateBSReceiveStreamStart,
                                       updateBSReceiveStreamfailed,
                                       updateBSDownloadStreamStart,
                                       updateBSDownloadStreamFailed,
                                       getTopFileDeleteRequest,
                                       updateBSFileDeleted};

/// Whether the row is one of `operations`.
template <class Query, class Response>
constexpr bool isListed(const Operation<Query, Response>& row) {
    const std::string_view name = row.name;
    return std::apply([&](const auto&... operation) { return ((name == operation.name) || ...); }, operations);
}

/// How many different names `operations` has.
constexpr std::size_t distinctNames() {
    auto names = std::apply([](const auto&... operation) { return std::array{std::string_view(operation.name)...}; },
                            operations);
    std::ranges::sort(names);
    return static_cast<std::size_t>(std::unique(names.begin(), names.end()) - names.begin());
}
static_assert(distinctNames() == std::tuple_size_v<decltype(operations)>, "two operations have the same name");

} // namespace Catalogue

} // namespace Quenmark
