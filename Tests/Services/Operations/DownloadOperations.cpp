// Files that others want from this computer, and files that are to be deleted here.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

std::vector<OperationCase> downloadOperations() {
    return {
        operation("asyncGetTopFileRequest", Catalogue::getTopFileRequest,
                  {.query = {.fromComputerID = "91"},
                   .queryProperties = R"({"fromComputerID": "91"})",
                   .path = "Downloads.svc/GetTopFileRequest",
                   .body = R"({
  "FromComputerID" : "91"
})",
                   .response = R"({"FilePath": "\\Docs\\a.txt", "FileRequestID": "601", "ReturnStatus": "0",
                                 "TransitDownloadPath": "transit/601", "FromShared": "1", "FileID": 77,
                                 "ByteStartPos": 4096, "error": {"Code": 1}})",
                   .record = {.filePath = "\\Docs\\a.txt",
                              .fileRequestID = "601",
                              .returnStatus = "0",
                              .TransitDownloadPath = "transit/601",
                              .sharedFlag = "1",
                              .ownerFileID = 77,
                              .byteStartPos = 4096,
                              .error = json(R"({"Code": 1})")},
                   .recordProperties = R"({"filePath": "\\Docs\\a.txt", "fileRequestID": "601", "returnStatus": "0",
                                           "TransitDownloadPath": "transit/601", "sharedFlag": "1",
                                           "ownerFileID": 77, "byteStartPos": 4096, "error": {"Code": 1}})"}),
        operation("asyncUpdateFileRequest", Catalogue::updateFileRequest,
                  {.query = {.filePath = "\\Docs\\a.txt",
                             .fileRequestId = "601",
                             .transitDownloadPath = "transit/601",
                             .attachment = "YWJj"},
                   .queryProperties = R"({"filePath": "\\Docs\\a.txt", "fileRequestId": "601",
                                          "transitDownloadPath": "transit/601", "attachment": "YWJj"})",
                   .path = "Downloads.svc/UpdateFileRequest",
                   .body = R"({
  "FilePath" : "\\Docs\\a.txt",
  "FileRequestID" : "601",
  "TransitDownloadPath" : "transit/601",
  "Attachment" : "YWJj"
})",
                   .response = R"({"ReturnStatus": "True", "error": {"Code": 2}})",
                   .record = {.ReturnStatus = "True", .error = json(R"({"Code": 2})")},
                   .recordProperties = R"({"ReturnStatus": "True", "error": {"Code": 2}})"}),
        operation("asyncCheckFileExistsInDownloads", Catalogue::checkFileExistsInDownloads,
                  {.query = {.filePath = "/Docs/a.txt"},
                   .queryProperties = R"({"filePath": "/Docs/a.txt"})",
                   .path = "Downloads.svc/CheckFileExistsInDownloads",
                   .body = R"({
  "FilePath" : "/Docs/a.txt"
})",
                   .response = R"({"ByteStartPos": "1024", "ReturnStatus": "0", "error": {"Code": 3}})",
                   .record = {.byteStartPos = "1024", .returnStatus = "0"},
                   .recordProperties = R"({"byteStartPos": "1024", "returnStatus": "0"})"}),
        operation("asyncupdateBSDownloadStreamStart", Catalogue::updateBSDownloadStreamStart,
                  {.query = {.fileRequestId = "602"},
                   .queryProperties = R"({"fileRequestId": "602"})",
                   .path = "Downloads.svc/UpdateBSDownloadStreamStarted",
                   .body = R"({
  "FileRequestID" : "602"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 4}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 4})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 4}})"}),
        operation(
            "asyncGetTopFileDeleteRequest", Catalogue::getTopFileDeleteRequest,
            {.query = {.fromComputerID = "92"},
             .queryProperties = R"({"fromComputerID": "92"})",
             .path = "Downloads.svc/GetTopFileDeleteRequest",
             .body = R"({
  "FromComputerID" : "92"
})",
             .response = R"({"DeleteRequestID": "701", "FilePath": "\\Docs\\old.txt", "ReturnStatus": "0",
                                 "error": {"Code": 5}})",
             .record = {.deleteRequestID = "701", .filePath = "\\Docs\\old.txt", .returnStatus = "0", .error = nil},
             .recordProperties = R"({"deleteRequestID": "701", "filePath": "\\Docs\\old.txt",
                                           "returnStatus": "0"})"}),
        operation("asyncUpdateBSFileDeleted", Catalogue::updateBSFileDeleted,
                  {.query = {.deleteRequestID = "701"},
                   .queryProperties = R"({"deleteRequestID": "701"})",
                   .path = "Downloads.svc/UpdateBSFileDeleted",
                   .body = R"({
  "DeleteRequestID" : "701"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 6}})",
                   .record = {.returnStatus = "0", .error = nil},
                   .recordProperties = R"({"returnStatus": "0"})"}),
    };
}

} // namespace ServicesTests
