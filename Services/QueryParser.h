#pragma once

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

#include <boost/json/object.hpp>

#include <vector>

namespace Quenmark {

/// Turns request records into the dictionaries that are posted: the fields under their wire keys, in wire order, nil
/// ones left out. Pure functions; none fails.
class QueryParser {
public:
    QueryParser() = delete;

    static boost::json::object parseUserRegistrationQuery(const UserRegistrationQuery& query);
    static boost::json::object parseRegisterComputerQuery(const RegisterComputerQuery& query);
    static boost::json::object parseSendActivationMailQuery(const SendActivationMailQuery& query);
    static boost::json::object
    parseOneTimeSyncOwnersSharedFoldersQuery(const OneTimeSyncOwnersSharedFoldersQuery& query);
    static boost::json::object parseGetTopFileUploadQuery(const GetTopFileUploadQuery& query);
    static boost::json::object parseCheckUserMailActivationStatusQuery(const CheckUserMailActivationStatusQuery& query);
    static boost::json::object parseUpdateFileUploadQuery(const UpdateFileUploadQuery& query);
    static boost::json::object parsegetTopFileRequestQuery(const GetTopFileRequestQuery& query);
    static boost::json::object parseUpdateFileRequestQuery(const UpdateFileRequestQuery& query);
    /// The list under the key "syncData".
    static boost::json::object
    parseSyncFilesInTableAndCloudQuery(const std::vector<SyncFilesInTableAndCloudQuery>& queries);
    static boost::json::object parseUpdateComputerStatusQuery(const UpdateComputerStatusQuery& query);
    static boost::json::object parseOneTimeSyncFilesQuery(const OneTimeSyncFilesQuery& query);
    static boost::json::object
    parseTransferFilesFromColudToBaseSystemQuery(const TransferFilesFromCloudToBaseSystemQuery& query);
    static boost::json::object parseSendPasswordToMailIdQuery(const SendPasswordToMailIdQuery& query);
    static boost::json::object parseLogErrorQuery(const LogErrorQuery& query);
    static boost::json::object parseGetSharedFilesTransferDataQuery(const GetSharedFilesTransferDataQuery& query);
    static boost::json::object parseUpdateFileExistDataQuery(const UpdateFileExistQuery& query);
    static boost::json::object parseUpdateFileSendReceivedQuery(const UpdateFileSendReceivedQuery& query);
    static boost::json::object parseUploadWithStreamQuery(const UploadFileWithStreamQuery& query);
    static boost::json::object parseUpdateSendFileToTransferQuery(const UpdateSendFileToTransferQuery& query);
    static boost::json::object parseIsFileExistsInCloudQuery(const IsFileExistsInCloudQuery& query);
    static boost::json::object parseUpdateFileReceivedQuery(const UpdateFileReceivedQuery& query);
    static boost::json::object
    parseDeleteReceivedFileFromTransferQuery(const DeleteReceivedFileFromTransferQuery& query);
    static boost::json::object parseInsertFileQuery(const InsertFileQuery& query);
    static boost::json::object parseInsertSharedFilesTransferQuery(const InsertSharedFilesTransferQuery& query);
    static boost::json::object parseUpdateBSUploadStreamStartedQuery(const UpdateBSUploadStreamStartedQuery& query);
    static boost::json::object parseUpdateBSUploadStreamFailedQuery(const UpdateBSUploadStreamFailedQuery& query);
    static boost::json::object parseUpdateBSDownloadStreamStartedQuery(const UpdateBSDownloadStreamStartedQuery& query);
    static boost::json::object parseUpdateBSDownloadStreamFailedQuery(const UpdateBSDownloadStreamFailedQuery& query);
    static boost::json::object parseCheckFileExistsInDownloadsQuery(const CheckFileExistsInDownloadsQuery& query);
    static boost::json::object parseCheckFileExistsInTransfersQuery(const CheckFileExistsInTransfersQuery& query);
    static boost::json::object parseUpdateBSSendStreamStartedQuery(const UpdateBSSendStreamStartedQuery& query);
    static boost::json::object parseUpdateBSSendStreamFailedQuery(const UpdateBSSendStreamFailedQuery& query);
    static boost::json::object parseUpdateBSReceiveStreamStartedQuery(const UpdateBSReceiveStreamStartedQuery& query);
    static boost::json::object parseUpdateBSReceiveStreamFailedQuery(const UpdateBSReceiveStreamFailedQuery& query);
    static boost::json::object parseGetTopFileDeleteRequestQuery(const GetTopFileDeleteRequestQuery& query);
    static boost::json::object parseUpdateBSFileDeletedQuery(const UpdateBSFileDeletedQuery& query);
};

} // namespace Quenmark
