// Items that wait for this computer: the next one, its acknowledgement, and reports on its stream; and the error log.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

std::vector<OperationCase> uploadOperations() {
    return {
        operation("asyncGetTopFileUpload", Catalogue::getTopFileUpload,
                  {.query = {.toComputerId = "91"},
                   .queryProperties = R"({"toComputerId": "91"})",
                   .path = "Uploads.svc/GetTopFileUpload",
                   .body = R"({
  "ToComputerID" : "91"
})",
                   .response = R"({"Attachment": "YQ==", "FileName": "a b.txt", "FileUploadID": "501",
                                 "IsFile": "True", "ReturnStatus": "0", "ServerPath": "\\Docs\\a b.txt",
                                 "ToComputerID": "91", "TransitUploadPath": "transit/501",
                                 "UploadProcessed": "False", "error": {"Code": 1}})",
                   .record = {.attachment = "YQ==",
                              .fileName = "a b.txt",
                              .fileUploadId = "501",
                              .isFile = "True",
                              .returnStatus = "0",
                              .serverPath = "\\Docs\\a b.txt",
                              .toComputerId = "91",
                              .transitUploadPath = "transit/501",
                              .uploadProcessed = "False",
                              .error = json(R"({"Code": 1})")},
                   .recordProperties = R"({"attachment": "YQ==", "fileName": "a b.txt", "fileUploadId": "501",
                                           "isFile": "True", "returnStatus": "0", "serverPath": "\\Docs\\a b.txt",
                                           "toComputerId": "91", "transitUploadPath": "transit/501",
                                           "uploadProcessed": "False", "error": {"Code": 1}})"}),
        operation("asyncUpdateFileUpload", Catalogue::updateFileUpload,
                  {.query = {.fileUploadId = "501",
                             .fileName = "Überblick.txt",
                             .serverPath = "\\Docs\\Überblick.txt",
                             .transitUploadPath = "transit/501"},
                   .queryProperties = R"({"fileUploadId": "501", "fileName": "Überblick.txt",
                                          "serverPath": "\\Docs\\Überblick.txt",
                                          "transitUploadPath": "transit/501"})",
                   .path = "Uploads.svc/UpdateFileUpload",
                   .body = R"({
  "FileUploadID" : "501",
  "FileName" : "Überblick.txt",
  "ServerPath" : "\\Docs\\Überblick.txt",
  "TransitUploadPath" : "transit/501"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 2}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 2})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 2}})"}),
        operation("asyncupdateBSUploadStreamStart", Catalogue::updateBSUploadStreamStart,
                  {.query = {.fileUploadId = "502"},
                   .queryProperties = R"({"fileUploadId": "502"})",
                   .path = "Uploads.svc/UpdateBSUploadStreamStarted",
                   .body = R"({
  "FileUploadID" : "502"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 3}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 3})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 3}})"}),
        operation("asyncUpdateBSUploadStreamFailed", Catalogue::updateBSUploadStreamFailed,
                  {.query = {.fileUploadId = "503"},
                   .queryProperties = R"({"fileUploadId": "503"})",
                   .path = "Uploads.svc/UpdateBSUploadStreamFailed",
                   .body = R"({
  "FileUploadID" : "503"
})",
                   .response = R"({"ReturnStatus": "1", "error": {"Code": 4}})",
                   .record = {.returnStatus = "1", .error = json(R"({"Code": 4})")},
                   .recordProperties = R"({"returnStatus": "1", "error": {"Code": 4}})"}),
        operation("asyncLogError", Catalogue::logError,
                  {.query = {.errorClass = "TopFileUpload",
                             .errorMethod = "poll",
                             .errorMessage = "first line\nsecond\tline",
                             .computerId = "91",
                             .userId = "17"},
                   .queryProperties = R"({"errorClass": "TopFileUpload", "errorMethod": "poll",
                                          "errorMessage": "first line\nsecond\tline", "computerId": "91",
                                          "userId": "17"})",
                   .path = "MAC/ErrorLog.svc/LogError",
                   .body = R"({
  "ErrorClass" : "TopFileUpload",
  "ErrorMethod" : "poll",
  "ErrorMessage" : "first line\nsecond\tline",
  "ComputerID" : "91",
  "UserID" : "17"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 5}})",
                   .record = {.returnStatus = "0", .error = json(R"({"Code": 5})")},
                   .recordProperties = R"({"returnStatus": "0", "error": {"Code": 5}})"}),
    };
}

} // namespace ServicesTests
