// The file table: reported changes, new files and transfers, and a computer's sign of life.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

namespace {

OperationCase listOfChanges() {
    return operation(
        "asyncSyncFilesInTableAndCloud", Catalogue::syncFilesInTableAndCloud,
        {.query = {{.changeType = "Renamed",
                    .oldFullPath = "\\Docs\\a.txt",
                    .fullPath = "\\Docs\\b.txt",
                    .fileSize = "12",
                    .quenmarkPath = "/home/ann",
                    .isFile = "True",
                    .computerId = "91",
                    .fileModifiedDate = "2014-10-16 12:00:00",
                    .baseSystemFileID = "8",
                    .fileID = "9"},
                   {.changeType = nil,
                    .oldFullPath = nil,
                    .fullPath = "\\Docs",
                    .fileSize = nil,
                    .quenmarkPath = nil,
                    .isFile = "False",
                    .computerId = nil,
                    .fileModifiedDate = nil,
                    .baseSystemFileID = nil,
                    .fileID = nil},
                   {.changeType = nil,
                    .oldFullPath = nil,
                    .fullPath = nil,
                    .fileSize = nil,
                    .quenmarkPath = nil,
                    .isFile = nil,
                    .computerId = nil,
                    .fileModifiedDate = nil,
                    .baseSystemFileID = nil,
                    .fileID = nil}},
         .queryProperties = R"([{"changeType": "Renamed", "oldFullPath": "\\Docs\\a.txt",
                                 "fullPath": "\\Docs\\b.txt", "fileSize": "12", "quenmarkPath": "/home/ann",
                                 "isFile": "True", "computerId": "91", "fileModifiedDate": "2014-10-16 12:00:00",
                                 "baseSystemFileID": "8", "fileID": "9"},
                                {"fullPath": "\\Docs", "isFile": "False"}, {}])",
         .path = "SyncFileChanges.svc/SyncFilesInTableAndCloud",
         .body = R"([
  {
    "ChangeType" : "Renamed",
    "OldFullPath" : "\\Docs\\a.txt",
    "FullPath" : "\\Docs\\b.txt",
    "FileSize" : "12",
    "QuenmarkPath" : "/home/ann",
    "IsFile" : "True",
    "ComputerID" : "91",
    "FileModifiedDate" : "2014-10-16 12:00:00",
    "BaseSystemFileID" : "8",
    "FileID" : "9"
  },
  {
    "FullPath" : "\\Docs",
    "IsFile" : "False"
  },
  {}
])",
         .response = R"([{"FileID": "9", "ReturnStatus": "0", "BaseSystemFileID": "8", "error": {"Code": 1}},
                       {"FileID": 10, "ReturnStatus": "1", "BaseSystemFileID": null}])",
         .record = {{.fileId = "9", .returnStatus = "0", .baseSystemFileID = "8", .error = nil},
                    {.fileId = 10, .returnStatus = "1", .baseSystemFileID = json("null"), .error = nil}},
         .recordProperties = R"([{"fileId": "9", "returnStatus": "0", "baseSystemFileID": "8"},
                                 {"fileId": 10, "returnStatus": "1", "baseSystemFileID": null}])"});
}

} // namespace

std::vector<OperationCase> synchronisationOperations() {
    return {
        listOfChanges(),
        operation("asyncUpdateComputerStatus", Catalogue::updateComputerStatus,
                  {.query = {.computerId = "91", .dateTime = "2014-10-16 12:00:00", .versionNumber = "1.4"},
                   .queryProperties = R"({"computerId": "91", "dateTime": "2014-10-16 12:00:00",
                                          "versionNumber": "1.4"})",
                   .path = "UpdateSystemTime.svc/UpdateComputerStatus",
                   .body = R"({
  "ComputerID" : "91",
  "DateTime" : "2014-10-16 12:00:00",
  "VersionNumber" : "1.4"
})",
                   .response = R"({"ReturnStatus": "0", "VersionNumber": 1.5, "error": {"Code": 2}})",
                   .record = {.returnStatus = "0", .VersionNumber = 1.5, .error = json(R"({"Code": 2})")},
                   .recordProperties = R"({"returnStatus": "0", "VersionNumber": 1.5, "error": {"Code": 2}})"}),
        operation("asyncInsertFile", Catalogue::insertFile,
                  {.query = {.fullPath = "\\Docs\\new.txt", .computerID = "91"},
                   .queryProperties = R"({"fullPath": "\\Docs\\new.txt", "computerID": "91"})",
                   .path = "SyncFileChanges.svc/InsertFile",
                   .body = R"({
  "FullPath" : "\\Docs\\new.txt",
  "ComputerID" : "91"
})",
                   .response = R"({"FileID": "801", "ReturnStatus": "0", "error": {"Code": 3}})",
                   .record = {.fileID = "801", .returnStatus = "0", .error = json(R"({"Code": 3})")},
                   .recordProperties = R"({"fileID": "801", "returnStatus": "0", "error": {"Code": 3}})"}),
        operation("asyncInsertSharedFilesTransfer", Catalogue::insertSharedFilesTransfer,
                  {.query = {.fileID = "801",
                             .computerID = "91",
                             .userComputerID = "92",
                             .oldFullPath = "\\old",
                             .fullPath = "\\new",
                             .isFile = "True",
                             .baseSystemFileID = "8",
                             .prevFolderFileID = "7",
                             .changeType = "Created",
                             .StrXMLFileID = "<ids/>"},
                   .queryProperties = R"({"fileID": "801", "computerID": "91", "userComputerID": "92",
                                          "oldFullPath": "\\old", "fullPath": "\\new", "isFile": "True",
                                          "baseSystemFileID": "8", "prevFolderFileID": "7",
                                          "changeType": "Created", "StrXMLFileID": "<ids/>"})",
                   .path = "SyncFileChanges.svc/InsertSharedFilesTransfer",
                   .body = R"({
  "FileID" : "801",
  "ComputerID" : "91",
  "UserComputerID" : "92",
  "OldFullPath" : "\\old",
  "FullPath" : "\\new",
  "IsFile" : "True",
  "BaseSystemFileID" : "8",
  "PrevFolderFileID" : "7",
  "ChangeType" : "Created",
  "StrXMLFileID" : "<ids/>"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 4}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 4})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 4}})"}),
    };
}

} // namespace ServicesTests
