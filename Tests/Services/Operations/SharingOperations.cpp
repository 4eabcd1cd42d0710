// Shared files: the complete sharing state, and reports on single transfers.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

namespace {

OperationCase stateOfSharing() {
    return operation("asyncGetSharedFilesTransferData", Catalogue::getSharedFilesTransferData,
                     {.query = {.userId = "17", .computerId = "91"},
                      .queryProperties = R"({"userId": "17", "computerId": "91"})",
                      .path = "MAC/SharedFiles.svc/GetSharedFilesTransferData",
                      .body = R"({
  "UserID" : "17",
  "ComputerID" : "91"
})",
                      .response = R"({
    "FileToTransfer": [{"QuenmarkPath": "f1", "ChangeType": "f2", "FromCloud": "f3", "FromComputerID": "f4",
                        "FullPath": "f5", "FullPathfromFileTable": "f6", "IsFile": "f7",
                        "IsOwnerToSubscriber": "f8", "NewFullPath": "f9", "OwnerFileID": "f10",
                        "PrevFolderFileID": "f11", "SharedFileTransferID": "f12", "ToCloud": "f13",
                        "ToComputerID": "f14", "UserComputerID": "f15", "XMLFileID": "f16", "error": {"Code": 1}}],
    "OwnerComputers": [{"QuenmarkPath": "o1", "CloudPath": "o2", "ComputerID": "o3", "IsAdmin": "o4",
                        "IsCloud": "o5", "MailID": "o6", "NickName": "o7", "Status": "o8",
                        "UserComputerMapID": "o9", "UserID": "o10", "error": {"Code": 2}}],
    "RecFileFromTransfer": [{"ChangeType": "r1", "FromCloud": "r2", "FromComputerID": "r3", "FullPath": "r4",
                             "FullPathFromFileTable": "r5", "IsFile": "r6", "IsOwnerToSubscriber": "r7",
                             "NewFullPath": "r8", "NickName": "r9", "OwnerFileID": "r10",
                             "PrevFolderFileID": "r11", "SavedFileID": "r12", "SharedFileTransferID": "r13",
                             "SharedFolderFileID": "r14", "ToCloud": "r15", "UserComputerID": "r16",
                             "XMLFileID": "r17", "ToComputerID": "r18", "error": {"Code": 3}}],
    "ReturnStatus": "0",
    "SharedfoldersWithStatus": [{"FileID": "s1", "SharedStatus": "s2", "error": {"Code": 4}}],
    "error": {"Code": 5}})",
                      .record = {.fileToTransferArray = {{.quenmarkPath = "f1",
                                                          .changeType = "f2",
                                                          .fromCloud = "f3",
                                                          .fromComputerId = "f4",
                                                          .fullPath = "f5",
                                                          .fullPathfromFileTable = "f6",
                                                          .isFile = "f7",
                                                          .isOwnerToSubscriber = "f8",
                                                          .fullPathNew = "f9",
                                                          .ownerFileID = "f10",
                                                          .prevFolderFileId = "f11",
                                                          .sharedFileTransferId = "f12",
                                                          .toCloud = "f13",
                                                          .toComputerId = "f14",
                                                          .userComputerId = "f15",
                                                          .xmlFileId = "f16",
                                                          .error = nil}},
                                 .OwnerComputersArray = {{.quenmarkPath = "o1",
                                                          .cloudPath = "o2",
                                                          .computerId = "o3",
                                                          .isAdmin = "o4",
                                                          .isCloud = "o5",
                                                          .mailId = "o6",
                                                          .nickName = "o7",
                                                          .status = "o8",
                                                          .userComputerMapId = "o9",
                                                          .userId = "o10",
                                                          .error = nil}},
                                 .RecFileFromTransferArray = {{.changeType = "r1",
                                                               .fromCloud = "r2",
                                                               .fromComputerId = "r3",
                                                               .fullPath = "r4",
                                                               .fullPathFromFileTable = "r5",
                                                               .isFile = "r6",
                                                               .isOwnerToSubscriber = "r7",
                                                               .fullPathNew = "r8",
                                                               .nickName = "r9",
                                                               .ownerFileId = "r10",
                                                               .prevFolderFileId = "r11",
                                                               .savedFileId = "r12",
                                                               .sharedFileTransferId = "r13",
                                                               .sharedFolderFileId = "r14",
                                                               .toCloud = "r15",
                                                               .userComputerId = "r16",
                                                               .xmlFileId = "r17",
                                                               .toComputerId = "r18",
                                                               .error = nil}},
                                 .SharedfoldersWithStatusArray = {{.fileId = "s1", .sharedStatus = "s2", .error = nil}},
                                 .ReturnStatus = "0"},
                      .recordProperties = R"({
    "fileToTransferArray": [{"quenmarkPath": "f1", "changeType": "f2", "fromCloud": "f3", "fromComputerId": "f4",
                             "fullPath": "f5", "fullPathfromFileTable": "f6", "isFile": "f7",
                             "isOwnerToSubscriber": "f8", "fullPathNew": "f9", "ownerFileID": "f10",
                             "prevFolderFileId": "f11", "sharedFileTransferId": "f12", "toCloud": "f13",
                             "toComputerId": "f14", "userComputerId": "f15", "xmlFileId": "f16"}],
    "OwnerComputersArray": [{"quenmarkPath": "o1", "cloudPath": "o2", "computerId": "o3", "isAdmin": "o4",
                             "isCloud": "o5", "mailId": "o6", "nickName": "o7", "status": "o8",
                             "userComputerMapId": "o9", "userId": "o10"}],
    "RecFileFromTransferArray": [{"changeType": "r1", "fromCloud": "r2", "fromComputerId": "r3", "fullPath": "r4",
                                  "fullPathFromFileTable": "r5", "isFile": "r6", "isOwnerToSubscriber": "r7",
                                  "fullPathNew": "r8", "nickName": "r9", "ownerFileId": "r10",
                                  "prevFolderFileId": "r11", "savedFileId": "r12", "sharedFileTransferId": "r13",
                                  "sharedFolderFileId": "r14", "toCloud": "r15", "userComputerId": "r16",
                                  "xmlFileId": "r17", "toComputerId": "r18"}],
    "SharedfoldersWithStatusArray": [{"fileId": "s1", "sharedStatus": "s2"}],
    "ReturnStatus": "0"})"});
}

} // namespace

std::vector<OperationCase> sharingOperations() {
    return {
        stateOfSharing(),
        operation("asyncUpdateFileExist", Catalogue::updateFileExist,
                  {.query = {.SharedFileTransferID = "12"},
                   .queryProperties = R"({"SharedFileTransferID": "12"})",
                   .path = "MAC/SharedFiles.svc/UpdateFileExists",
                   .body = R"({
  "SharedFileTransferID" : "12"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 1}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 1})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 1}})"}),
        operation("asyncUpdateFileSendReceived", Catalogue::updateFileSendReceived,
                  {.query = {.SharedFileTransferID = "13"},
                   .queryProperties = R"({"SharedFileTransferID": "13"})",
                   .path = "MAC/SharedFiles.svc/UpdateFileSendReceived",
                   .body = R"({
  "SharedFileTransferID" : "13"
})",
                   .response = R"({"ReturnStatus": "1", "error": {"Code": 2}})",
                   .record = {.returnStatus = "1", .error = json(R"({"Code": 2})")},
                   .recordProperties = R"({"returnStatus": "1", "error": {"Code": 2}})"}),
        operation("asyncIsFileExistsInCloud", Catalogue::isFileExistsInCloud,
                  {.query = {.strFullPath = "\\Shared\\a.txt"},
                   .queryProperties = R"({"strFullPath": "\\Shared\\a.txt"})",
                   .path = "MAC/SharedFiles.svc/IsFileExistsInCloud",
                   .body = R"({
  "StrFullPath" : "\\Shared\\a.txt"
})",
                   .response = R"({"IsExists": "True", "ReturnStatus": "0", "error": {"Code": 3}})",
                   .record = {.isExists = "True", .returnStatus = "0", .error = json(R"({"Code": 3})")},
                   .recordProperties = R"({"isExists": "True", "returnStatus": "0", "error": {"Code": 3}})"}),
        operation("asyncUpdateFileReceived", Catalogue::updateFileReceived,
                  {.query = {.sharedFileTransferID = "12", .isFileExists = "True"},
                   .queryProperties = R"({"sharedFileTransferID": "12", "isFileExists": "True"})",
                   .path = "MAC/SharedFiles.svc/UpdateFileReceived",
                   .body = R"({
  "SharedFileTransferID" : "12",
  "IsExists" : "True"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 4}})",
                   .record = {.ReturnStatus = "0", .error = json(R"({"Code": 4})")},
                   .recordProperties = R"({"ReturnStatus": "0", "error": {"Code": 4}})"}),
        operation("asyncDeleteReceivedFileFromTransfer", Catalogue::deleteReceivedFileFromTransfer,
                  {.query = {.isFileExists = "False", .savedFileID = "88", .sharedFileTransferID = "12"},
                   .queryProperties = R"({"isFileExists": "False", "savedFileID": "88",
                                          "sharedFileTransferID": "12"})",
                   .path = "MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer",
                   .body = R"({
  "IsExists" : "False",
  "SavedFileID" : "88",
  "SharedFileTransferID" : "12"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 5}})",
                   .record = {.ReturnStatus = "0", .error = json(R"({"Code": 5})")},
                   .recordProperties = R"({"ReturnStatus": "0", "error": {"Code": 5}})"}),
    };
}

} // namespace ServicesTests
