// What the fields of the requests are called for people and for the command-line tool.

#include "Services/Catalogue.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

const std::map<std::string_view, std::string> expected{
    {"asyncUserRegistration", "mailId passWord firstName lastName nickName"},
    {"asyncRegisterComputer", "userId quenmarkPath"},
    {"asyncSendActivationMail", "mailId userId"},
    {"asyncOneTimeSyncOwnersSharedFolders", "computerId userId"},
    {"asyncTransferFilesFromCloudToBaseSystem", "computerID quenmarkPath"},
    {"asyncGetTopFileUpload", "toComputerId"},
    {"asyncCheckUserMailActivationStatus", "userId"},
    {"asyncUpdateFileUpload", "fileUploadId fileName serverPath transitUploadPath"},
    {"asyncGetTopFileRequest", "fromComputerID"},
    {"asyncUpdateFileRequest", "filePath fileRequestId transitDownloadPath attachment"},
    {"asyncSyncFilesInTableAndCloud", "changeType oldFullPath fullPath fileSize quenmarkPath isFile computerId "
                                      "fileModifiedDate baseSystemFileID fileID"},
    {"asyncUpdateComputerStatus", "computerId dateTime versionNumber"},
    {"asyncOneTimeSyncFiles", "allFiles computerId quenmarkPath"},
    {"asyncSendPasswordToMailId", "mailId"},
    {"asyncGetTopFileUploadWithStream", "toComputerId"},
    {"asyncUpdateFileRequestWithStream", "filePath fileRequestId transitDownloadPath attachment"},
    {"asyncLogError", "errorClass errorMethod errorMessage computerId userId"},
    {"asyncGetSharedFilesTransferData", "userId computerId"},
    {"asyncUpdateFileExist", "SharedFileTransferID"},
    {"asyncUpdateFileSendReceived", "SharedFileTransferID"},
    {"asyncUploadFileWithStream", "computerID quenmarkPath fullPathFromFileTable"},
    {"asyncupdateSendFileToTransfer",
     "ChangeType SharedFileTransferID FullPathFromFileTable ToCloud IsFile ToComputerID NewFullPath OwnerFileID "
     "FromComputerID QuenmarkPath FileNameToSend Length"},
    {"asyncIsFileExistsInCloud", "strFullPath"},
    {"asyncUpdateFileReceived", "sharedFileTransferID isFileExists"},
    {"asyncDeleteReceivedFileFromTransfer", "isFileExists savedFileID sharedFileTransferID"},
    {"asyncInsertFile", "fullPath computerID"},
    {"asyncInsertSharedFilesTransfer", "fileID computerID userComputerID oldFullPath fullPath isFile baseSystemFileID "
                                       "prevFolderFileID changeType StrXMLFileID"},
    {"asyncupdateBSUploadStreamStart", "fileUploadId"},
    {"asyncCheckFileExistsInDownloads", "filePath"},
    {"asyncUpdateBSUploadStreamFailed", "fileUploadId"},
    {"asyncCheckFileExistsInTransfers", "sharedFileTransferID fullPathfromFileTable"},
    {"asyncUpdateBSSendStreamStarted", "sharedFileTransferID"},
    {"asyncUpdateBSSendStreamFailed", "sharedFileTransferID"},
    {"asyncUpdateBSReceiveStreamStart", "sharedFileTransferID"},
    {"asyncUpdateBSReceiveStreamfailed", "sharedFileTransferID"},
    {"asyncupdateBSDownloadStreamStart", "fileRequestId"},
    {"asyncupdateBSDownloadStreamFailed", "fileRequestId"},
    {"asyncGetTopFileDeleteRequest", "fromComputerID"},
    {"asyncUpdateBSFileDeleted", "deleteRequestID"},
};

template <class Record>
struct RecordOf {
    using Type = Record;
};
template <class Record>
struct RecordOf<std::vector<Record>> {
    using Type = Record;
};

/// The names of the properties of the operation's request, in wire order.
template <class Request, class Response>
std::string properties(const Quenmark::Operation<Request, Response>&) {
    std::string names;
    Quenmark::forEachField<typename RecordOf<Request>::Type>(
        [&](const auto& field) { names += (names.empty() ? "" : " ") + std::string(field.property); });
    return names;
}

TEST(ARequest, NamesItsProperties) {
    std::map<std::string_view, std::string> found;
    std::apply([&](const auto&... operation) { (found.emplace(operation.name, properties(operation)), ...); },
               Quenmark::Catalogue::operations);
    EXPECT_EQ(found, expected);
}

} // namespace
