#include "Services/QueryParser.h"

#include "Services/Coding.h"

namespace Quenmark {

using boost::json::object;

object QueryParser::parseUserRegistrationQuery(const UserRegistrationQuery& query) {
    return encode(query);
}
object QueryParser::parseRegisterComputerQuery(const RegisterComputerQuery& query) {
    return encode(query);
}
object QueryParser::parseSendActivationMailQuery(const SendActivationMailQuery& query) {
    return encode(query);
}
object QueryParser::parseOneTimeSyncOwnersSharedFoldersQuery(const OneTimeSyncOwnersSharedFoldersQuery& query) {
    return encode(query);
}
object QueryParser::parseGetTopFileUploadQuery(const GetTopFileUploadQuery& query) {
    return encode(query);
}
object QueryParser::parseCheckUserMailActivationStatusQuery(const CheckUserMailActivationStatusQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateFileUploadQuery(const UpdateFileUploadQuery& query) {
    return encode(query);
}
object QueryParser::parsegetTopFileRequestQuery(const GetTopFileRequestQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateFileRequestQuery(const UpdateFileRequestQuery& query) {
    return encode(query);
}
object QueryParser::parseSyncFilesInTableAndCloudQuery(const std::vector<SyncFilesInTableAndCloudQuery>& queries) {
    boost::json::array changes;
    changes.reserve(queries.size());
    for (const auto& query : queries)
        changes.emplace_back(encode(query));
    return object{{"syncData", std::move(changes)}};
}
object QueryParser::parseUpdateComputerStatusQuery(const UpdateComputerStatusQuery& query) {
    return encode(query);
}
object QueryParser::parseOneTimeSyncFilesQuery(const OneTimeSyncFilesQuery& query) {
    return encode(query);
}
object QueryParser::parseTransferFilesFromColudToBaseSystemQuery(const TransferFilesFromCloudToBaseSystemQuery& query) {
    return encode(query);
}
object QueryParser::parseSendPasswordToMailIdQuery(const SendPasswordToMailIdQuery& query) {
    return encode(query);
}
object QueryParser::parseLogErrorQuery(const LogErrorQuery& query) {
    return encode(query);
}
object QueryParser::parseGetSharedFilesTransferDataQuery(const GetSharedFilesTransferDataQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateFileExistDataQuery(const UpdateFileExistQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateFileSendReceivedQuery(const UpdateFileSendReceivedQuery& query) {
    return encode(query);
}
object QueryParser::parseUploadWithStreamQuery(const UploadFileWithStreamQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateSendFileToTransferQuery(const UpdateSendFileToTransferQuery& query) {
    return encode(query);
}
object QueryParser::parseIsFileExistsInCloudQuery(const IsFileExistsInCloudQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateFileReceivedQuery(const UpdateFileReceivedQuery& query) {
    return encode(query);
}
object QueryParser::parseDeleteReceivedFileFromTransferQuery(const DeleteReceivedFileFromTransferQuery& query) {
    return encode(query);
}
object QueryParser::parseInsertFileQuery(const InsertFileQuery& query) {
    return encode(query);
}
object QueryParser::parseInsertSharedFilesTransferQuery(const InsertSharedFilesTransferQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSUploadStreamStartedQuery(const UpdateBSUploadStreamStartedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSUploadStreamFailedQuery(const UpdateBSUploadStreamFailedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSDownloadStreamStartedQuery(const UpdateBSDownloadStreamStartedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSDownloadStreamFailedQuery(const UpdateBSDownloadStreamFailedQuery& query) {
    return encode(query);
}
object QueryParser::parseCheckFileExistsInDownloadsQuery(const CheckFileExistsInDownloadsQuery& query) {
    return encode(query);
}
object QueryParser::parseCheckFileExistsInTransfersQuery(const CheckFileExistsInTransfersQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSSendStreamStartedQuery(const UpdateBSSendStreamStartedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSSendStreamFailedQuery(const UpdateBSSendStreamFailedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSReceiveStreamStartedQuery(const UpdateBSReceiveStreamStartedQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSReceiveStreamFailedQuery(const UpdateBSReceiveStreamFailedQuery& query) {
    return encode(query);
}
object QueryParser::parseGetTopFileDeleteRequestQuery(const GetTopFileDeleteRequestQuery& query) {
    return encode(query);
}
object QueryParser::parseUpdateBSFileDeletedQuery(const UpdateBSFileDeletedQuery& query) {
    return encode(query);
}

} // namespace Quenmark
