#pragma once

#include "Services/DataParser.h"
#include "Services/QueryParser.h"

#include <tuple>

namespace Quenmark {

/// How an operation is carried out.
enum class Variant {
    /// A JSON object is posted, and the answer parsed into a record.
    Post,
    /// The list that the parser puts under "syncData" is posted bare; the answer is a list too.
    PostList,
    /// As Post; the handler is given the bare status instead of a record.
    PostForStatus,
    /// As Post, with the answer handed on raw; does nothing on releases before 10.10.
    RawStream,
    /// A file is sent, the record's fields travel in header fields; does nothing on releases before 10.10.
    HeaderUpload,
};

/// What an operation logs besides what its connector logs. A null pointer logs nothing.
struct OperationLog {
    /// In front of the parameters' text, before the request.
    const char* parameters = nullptr;
    /// In front of the text of the connector's completion, before the handler is called.
    const char* completion = nullptr;
    /// After the handler was called, by status.
    const char* failure = nullptr;
    const char* success = nullptr;
};

/// Stands for the answer of an operation that parses none.
struct RawAnswer {};

/// All there is to say of an operation.
template <class Q, class A>
struct Operation {
    using Query = Q;
    using Answer = A;

    /// The name of the facade's function.
    const char* name = nullptr;
    /// The keyword of its completion handler.
    const char* handlerKeyword = nullptr;
    /// The path below the service root.
    const char* path = nullptr;
    boost::json::object (*encode)(const Query&) = nullptr;
    Answer (*decode)(boost::json::value&&) = nullptr;
    Variant variant = Variant::Post;
    OperationLog log{};
};

/// Every operation of the web service, in the order of the facade.
namespace Catalogue {

inline constexpr Operation<UserRegistrationQuery, UserRegistrationResponseData> userRegistration{
    "asyncUserRegistration", "withCompletionHandler", "Registration.svc/VerifyAndRegisterUserFromTool",
    &QueryParser::parseUserRegistrationQuery, &DataParser::parseUserRegistrationReponseData};
inline constexpr Operation<RegisterComputerQuery, RegisterComputerResponseData> registerComputer{
    "asyncRegisterComputer", "withCompletionHandler", "Registration.svc/RegisterComputer",
    &QueryParser::parseRegisterComputerQuery, &DataParser::parseRegisterComputerResponseData};
inline constexpr Operation<SendActivationMailQuery, SendActivationMailResponseData> sendActivationMail{
    "asyncSendActivationMail", "withCompletionHandler", "Registration.svc/SendActivationMail",
    &QueryParser::parseSendActivationMailQuery, &DataParser::parseSendActivationMailResponseData};
inline constexpr Operation<OneTimeSyncOwnersSharedFoldersQuery, OneTimeSyncOwnersSharedFoldersResponseData>
    oneTimeSyncOwnersSharedFolders{"asyncOneTimeSyncOwnersSharedFolders", "withCompletionHandler",
                                   "Registration.svc/OneTimeSyncOwnersSharedFolders",
                                   &QueryParser::parseOneTimeSyncOwnersSharedFoldersQuery,
                                   &DataParser::parseOneTimeSyncOwnersSharedFoldersResponseData};
inline constexpr Operation<TransferFilesFromCloudToBaseSystemQuery, TransferFilesFromCloudToBaseSystemResponseData>
    transferFilesFromCloudToBaseSystem{"asyncTransferFilesFromCloudToBaseSystem", "withCompletionHandler",
                                       "Registration.svc/TransferFilesFromCloudToBaseSystem",
                                       &QueryParser::parseTransferFilesFromColudToBaseSystemQuery,
                                       &DataParser::parseTransferFilesFromCloudToBaseSystemResponseData};
inline constexpr Operation<GetTopFileUploadQuery, GetTopFileUploadResponseData> getTopFileUpload{
    "asyncGetTopFileUpload", "withCompletionHandler", "Uploads.svc/GetTopFileUpload",
    &QueryParser::parseGetTopFileUploadQuery, &DataParser::parseGetTopFileUploadResponseData};
inline constexpr Operation<CheckUserMailActivationStatusQuery, CheckUserMailActivationStatusResponseData>
    checkUserMailActivationStatus{"asyncCheckUserMailActivationStatus", "withCompletionHandler",
                                  "Registration.svc/CheckUserMailActivationStatus",
                                  &QueryParser::parseCheckUserMailActivationStatusQuery,
                                  &DataParser::parseCheckUserMailActivationStatusResponseData};
inline constexpr Operation<UpdateFileUploadQuery, UpdateFileUploadResponseData> updateFileUpload{
    "asyncUpdateFileUpload", "withCompletionHandler", "Uploads.svc/UpdateFileUpload",
    &QueryParser::parseUpdateFileUploadQuery, &DataParser::parseUpdateFileUploadResponseData};
inline constexpr Operation<GetTopFileRequestQuery, GetTopFileRequestResponseData> getTopFileRequest{
    "asyncGetTopFileRequest", "withCompletionHandler", "Downloads.svc/GetTopFileRequest",
    &QueryParser::parsegetTopFileRequestQuery, &DataParser::parseGetTopFileRequestResponseData};
inline constexpr Operation<UpdateFileRequestQuery, UpdateFileRequestResponseData> updateFileRequest{
    "asyncUpdateFileRequest", "withCompletionHandler", "Downloads.svc/UpdateFileRequest",
    &QueryParser::parseUpdateFileRequestQuery, &DataParser::parseUpdateFileRequestResponseData};
inline constexpr Operation<std::vector<SyncFilesInTableAndCloudQuery>,
                           std::vector<SyncFilesInTableAndCloudResponseData>>
    syncFilesInTableAndCloud{"asyncSyncFilesInTableAndCloud",
                             "withCompletionHandler",
                             "SyncFileChanges.svc/SyncFilesInTableAndCloud",
                             &QueryParser::parseSyncFilesInTableAndCloudQuery,
                             &DataParser::parseSyncFilesInTableAndCloudResponseData,
                             Variant::PostList};
inline constexpr Operation<UpdateComputerStatusQuery, UpdateComputerStatusResponseData> updateComputerStatus{
    "asyncUpdateComputerStatus", "withCompletionHandler", "UpdateSystemTime.svc/UpdateComputerStatus",
    &QueryParser::parseUpdateComputerStatusQuery, &DataParser::parseUpdateComputerStatusResponseData};
inline constexpr Operation<OneTimeSyncFilesQuery, OneTimeSyncFilesResponseData> oneTimeSyncFiles{
    "asyncOneTimeSyncFiles", "withCompletionHandler", "Registration.svc/OneTimeSyncFiles",
    &QueryParser::parseOneTimeSyncFilesQuery, &DataParser::parseOneTimeSyncFilesResponseData};
inline constexpr Operation<SendPasswordToMailIdQuery, SendPasswordToMailIdResponseData> sendPasswordToMailId{
    "asyncSendPasswordToMailId",
    "withCompiletionHandler",
    "Registration.svc/SendPasswordToMailID",
    &QueryParser::parseSendPasswordToMailIdQuery,
    &DataParser::parseSendPasswordToMailIdResponseData,
    Variant::Post,
    {.parameters = ""}};
inline constexpr Operation<GetTopFileUploadQuery, RawAnswer> getTopFileUploadWithStream{
    "asyncGetTopFileUploadWithStream",
    "withCompletionHandler",
    "Uploads.svc/GetTopFileUploadWithStream",
    &QueryParser::parseGetTopFileUploadQuery,
    nullptr,
    Variant::RawStream};
inline constexpr Operation<UpdateFileRequestQuery, UpdateFileRequestResponseData> updateFileRequestWithStream{
    "asyncUpdateFileRequestWithStream",
    "withCompletionHandler",
    "Downloads.svc/UpdateFileRequestWithStream",
    &QueryParser::parseUpdateFileRequestQuery,
    &DataParser::parseUpdateFileRequestResponseData,
    Variant::HeaderUpload,
    {.parameters = "strem dictionary "}};
inline constexpr Operation<LogErrorQuery, LogErrorResponseData> logError{"asyncLogError",
                                                                         "withCompiletionHandler",
                                                                         "MAC/ErrorLog.svc/LogError",
                                                                         &QueryParser::parseLogErrorQuery,
                                                                         &DataParser::parseLogErrorResponseData,
                                                                         Variant::Post,
                                                                         {.parameters = ""}};
inline constexpr Operation<GetSharedFilesTransferDataQuery, GetSharedFilesTransferDataResponseData>
    getSharedFilesTransferData{"asyncGetSharedFilesTransferData",
                               "withCompletionHandler",
                               "MAC/SharedFiles.svc/GetSharedFilesTransferData",
                               &QueryParser::parseGetSharedFilesTransferDataQuery,
                               &DataParser::parseGetSharedFilesTransferDataResponseData,
                               Variant::Post,
                               {.parameters = " "}};
inline constexpr Operation<UpdateFileExistQuery, UpdateFileExistResponseData> updateFileExist{
    "asyncUpdateFileExist",
    "withCompletionHandler",
    "MAC/SharedFiles.svc/UpdateFileExists",
    &QueryParser::parseUpdateFileExistDataQuery,
    &DataParser::parseUpdateFileExistResponseData,
    Variant::Post,
    {.parameters = "data from updatefileexist."}};
inline constexpr Operation<UpdateFileSendReceivedQuery, UpdateFileSendReceivedResponseData> updateFileSendReceived{
    "asyncUpdateFileSendReceived",
    "withCompletionHandler",
    "MAC/SharedFiles.svc/UpdateFileSendReceived",
    &QueryParser::parseUpdateFileSendReceivedQuery,
    &DataParser::parseUpdateFileSendReceivedResponseData,
    Variant::Post,
    {.parameters = "data from updatefilesendreceived."}};
inline constexpr Operation<UploadFileWithStreamQuery, AnswerField> uploadFileWithStream{
    "asyncUploadFileWithStream",
    "withCompletionHandler",
    "MAC/SharedFiles.svc/UploadFileWithStream",
    &QueryParser::parseUploadWithStreamQuery,
    &DataParser::parseUploadFileWithStreamResponseData,
    Variant::PostForStatus,
    {.parameters = "data from uploadfilewithstream."}};
inline constexpr Operation<UpdateSendFileToTransferQuery, AnswerField> updateSendFileToTransfer{
    "asyncupdateSendFileToTransfer",
    "withcompletionHandler",
    "MAC/SharedFiles.svc/UpdateSendFileToTransfer",
    &QueryParser::parseUpdateSendFileToTransferQuery,
    &DataParser::parseUpdateSendFileToTransferResponseData,
    Variant::PostForStatus,
    {.parameters = "data from updatesendfiletotransfer."}};
inline constexpr Operation<IsFileExistsInCloudQuery, IsFileExistsInCloudResponseData> isFileExistsInCloud{
    "asyncIsFileExistsInCloud",
    "withCompiletionHandler",
    "MAC/SharedFiles.svc/IsFileExistsInCloud",
    &QueryParser::parseIsFileExistsInCloudQuery,
    &DataParser::parseIsFileExistsInCloudResponseData,
    Variant::Post,
    {.parameters = "data in could query...",
     .completion = "rest connector at cloud ....",
     .failure = "trace code error...........",
     .success = "trace code sucesss........."}};
inline constexpr Operation<UpdateFileReceivedQuery, UpdateFileReceivedResponseData> updateFileReceived{
    "asyncUpdateFileReceived", "withCompiletionHandler", "MAC/SharedFiles.svc/UpdateFileReceived",
    &QueryParser::parseUpdateFileReceivedQuery, &DataParser::parseUpdateFileReceivedResponseData};
inline constexpr Operation<DeleteReceivedFileFromTransferQuery, DeleteReceivedFileFromTransferResponseData>
    deleteReceivedFileFromTransfer{"asyncDeleteReceivedFileFromTransfer",
                                   "withCompiletionHandler",
                                   "MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer",
                                   &QueryParser::parseDeleteReceivedFileFromTransferQuery,
                                   &DataParser::parseDeleteReceivedFileFromTransferResponseData,
                                   Variant::Post,
                                   {.parameters = "data for delete Received File from Transfer.....",
                                    .failure = "  trce code error deleteReceivedFile From Transfer ............",
                                    .success = "trace code sucess.............."}};
inline constexpr Operation<InsertFileQuery, InsertFileResponseData> insertFile{
    "asyncInsertFile", "withCompletionHandler", "SyncFileChanges.svc/InsertFile", &QueryParser::parseInsertFileQuery,
    &DataParser::parseInsertFileResponseData};
inline constexpr Operation<InsertSharedFilesTransferQuery, InsertSharedFilesTransferResponseData>
    insertSharedFilesTransfer{
        "asyncInsertSharedFilesTransfer", "withCompletionHandler", "SyncFileChanges.svc/InsertSharedFilesTransfer",
        &QueryParser::parseInsertSharedFilesTransferQuery, &DataParser::parseInsertSharedFilesTransferResponseData};
inline constexpr Operation<UpdateBSUploadStreamStartedQuery, UpdateBSUploadStreamStartedResponseData>
    updateBSUploadStreamStart{
        "asyncupdateBSUploadStreamStart", "withCompletionHandler", "Uploads.svc/UpdateBSUploadStreamStarted",
        &QueryParser::parseUpdateBSUploadStreamStartedQuery, &DataParser::parseUpdateBSUploadStreamStartedResponseData};
inline constexpr Operation<CheckFileExistsInDownloadsQuery, CheckFileExistsInDownloadsResponseData>
    checkFileExistsInDownloads{
        "asyncCheckFileExistsInDownloads", "withCompletionhandler", "Downloads.svc/CheckFileExistsInDownloads",
        &QueryParser::parseCheckFileExistsInDownloadsQuery, &DataParser::parseCheckFileExistsInDownloadsResponseData};
inline constexpr Operation<UpdateBSUploadStreamFailedQuery, UpdateBSUploadStreamFailedResponseData>
    updateBSUploadStreamFailed{
        "asyncUpdateBSUploadStreamFailed", "withCompletionHandler", "Uploads.svc/UpdateBSUploadStreamFailed",
        &QueryParser::parseUpdateBSUploadStreamFailedQuery, &DataParser::parseUpdateBSUploadStreamFailedResponseData};
inline constexpr Operation<CheckFileExistsInTransfersQuery, CheckFileExistsInTransfersResponseData>
    checkFileExistsInTransfers{
        "asyncCheckFileExistsInTransfers", "withCompletionhandler", "MAC/SharedFiles.svc/CheckFileExistsInTransfers",
        &QueryParser::parseCheckFileExistsInTransfersQuery, &DataParser::parseCheckFileExistsInTransfersResponseData};
inline constexpr Operation<UpdateBSSendStreamStartedQuery, UpdateBSSendStreamStartedResponseData>
    updateBSSendStreamStarted{
        "asyncUpdateBSSendStreamStarted", "withCompletionHandler", "MAC/SharedFiles.svc/UpdateBSSendStreamStarted",
        &QueryParser::parseUpdateBSSendStreamStartedQuery, &DataParser::parseUpdateBSSendStreamstartedResponseData};
inline constexpr Operation<UpdateBSSendStreamFailedQuery, UpdateBSSendStreamFailedResponseData>
    updateBSSendStreamFailed{
        "asyncUpdateBSSendStreamFailed", "withCompletionHandler", "MAC/SharedFiles.svc/UpdateBSSendStreamFailed",
        &QueryParser::parseUpdateBSSendStreamFailedQuery, &DataParser::parseUpdateBSSendStreamFailedResponseData};
inline constexpr Operation<UpdateBSReceiveStreamStartedQuery, UpdateBSReceiveStreamStartedResponseData>
    updateBSReceiveStreamStart{"asyncUpdateBSReceiveStreamStart", "withCompletionHandler",
                               "MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted",
                               &QueryParser::parseUpdateBSReceiveStreamStartedQuery,
                               &DataParser::parseUpdateBSReceiveStreamStartedResponseData};
inline constexpr Operation<UpdateBSReceiveStreamFailedQuery, UpdateBSReceiveStreamFailedResponseData>
    updateBSReceiveStreamfailed{
        "asyncUpdateBSReceiveStreamfailed", "withCompletionHandler", "MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed",
        &QueryParser::parseUpdateBSReceiveStreamFailedQuery, &DataParser::parseUpdateBSReceiveStreamFailedResponseData};
inline constexpr Operation<UpdateBSDownloadStreamStartedQuery, UpdateBSDownloadStreamStartedResponseData>
    updateBSDownloadStreamStart{"asyncupdateBSDownloadStreamStart", "withCompletionHandler",
                                "Downloads.svc/UpdateBSDownloadStreamStarted",
                                &QueryParser::parseUpdateBSDownloadStreamStartedQuery,
                                &DataParser::parseUpdateBSDownloadStreamStartedResponseData};
/// The object replacement character at the end of the path is required: no URL can be formed, and nothing is sent.
inline constexpr Operation<UpdateBSDownloadStreamFailedQuery, UpdateBSDownloadStreamFailedResponseData>
    updateBSDownloadStreamFailed{"asyncupdateBSDownloadStreamFailed", "withCompletionHandler",
                                 "Downloads.svc/UpdateBSDownloadStreamFailed\uFFFC",
                                 &QueryParser::parseUpdateBSDownloadStreamFailedQuery,
                                 &DataParser::parseUpdateBSDownloadStreamFailedResponseData};
inline constexpr Operation<GetTopFileDeleteRequestQuery, GetTopFileDeleteResponseData> getTopFileDeleteRequest{
    "asyncGetTopFileDeleteRequest", "withCompletionHandler", "Downloads.svc/GetTopFileDeleteRequest",
    &QueryParser::parseGetTopFileDeleteRequestQuery, &DataParser::parseGetTopFileResponseData};
inline constexpr Operation<UpdateBSFileDeletedQuery, UpdateBSFileDeleteResponseData> updateBSFileDeleted{
    "asyncUpdateBSFileDeleted", "withCompletionHandler", "Downloads.svc/UpdateBSFileDeleted",
    &QueryParser::parseUpdateBSFileDeletedQuery, &DataParser::parseUpdateBSFileDeleteResponseData};

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

} // namespace Catalogue

} // namespace Quenmark
