// Reports on the streams of shared files, and how much of one the service holds.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

std::vector<OperationCase> sharingStreamOperations() {
    return {
        operation("asyncCheckFileExistsInTransfers", Catalogue::checkFileExistsInTransfers,
                  {.query = {.sharedFileTransferID = "12", .fullPathfromFileTable = "\\Shared\\a.txt"},
                   .queryProperties = R"({"sharedFileTransferID": "12",
                                          "fullPathfromFileTable": "\\Shared\\a.txt"})",
                   .path = "MAC/SharedFiles.svc/CheckFileExistsInTransfers",
                   .body = R"({
  "SharedFileTransferID" : "12",
  "FullPathfromFileTable" : "\\Shared\\a.txt"
})",
                   .response = R"({"ByteStartPos": 9223372036854775807, "ReturnStatus": "0", "error": {"Code": 1}})",
                   .record = {.byteStartPos = 9223372036854775807, .returnStatus = "0"},
                   .recordProperties = R"({"byteStartPos": 9223372036854775807, "returnStatus": "0"})"}),
        operation("asyncUpdateBSSendStreamStarted", Catalogue::updateBSSendStreamStarted,
                  {.query = {.sharedFileTransferID = "13"},
                   .queryProperties = R"({"sharedFileTransferID": "13"})",
                   .path = "MAC/SharedFiles.svc/UpdateBSSendStreamStarted",
                   .body = R"({
  "SharedFileTransferID" : "13"
})",
                   .response = R"({"ReturnStatus": "0", "error": {"Code": 2}})",
                   .record = {.returnStatus = "0", .error = nil},
                   .recordProperties = R"({"returnStatus": "0"})"}),
        operation("asyncUpdateBSSendStreamFailed", Catalogue::updateBSSendStreamFailed,
                  {.query = {.sharedFileTransferID = "14"},
                   .queryProperties = R"({"sharedFileTransferID": "14"})",
                   .path = "MAC/SharedFiles.svc/UpdateBSSendStreamFailed",
                   .body = R"({
  "SharedFileTransferID" : "14"
})",
                   .response = R"({"ReturnStatus": "1", "error": {"Code": 3}})",
                   .record = {.returnStatus = "1", .error = nil},
                   .recordProperties = R"({"returnStatus": "1"})"}),
        operation("asyncUpdateBSReceiveStreamStart", Catalogue::updateBSReceiveStreamStart,
                  {.query = {.sharedFileTransferID = "15"},
                   .queryProperties = R"({"sharedFileTransferID": "15"})",
                   .path = "MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted",
                   .body = R"({
  "SharedFileTransferID" : "15"
})",
                   .response = R"({"ReturnStatus": "2", "error": {"Code": 4}})",
                   .record = {.returnStatus = "2", .error = nil},
                   .recordProperties = R"({"returnStatus": "2"})"}),
        operation("asyncUpdateBSReceiveStreamfailed", Catalogue::updateBSReceiveStreamfailed,
                  {.query = {.sharedFileTransferID = "16"},
                   .queryProperties = R"({"sharedFileTransferID": "16"})",
                   .path = "MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed",
                   .body = R"({
  "SharedFileTransferID" : "16"
})",
                   .response = R"({"ReturnStatus": "3", "error": {"Code": 5}})",
                   .record = {.returnStatus = "3", .error = nil},
                   .recordProperties = R"({"returnStatus": "3"})"}),
    };
}

} // namespace ServicesTests
