// Users and computers: registration, confirmation of accounts, and what a new computer asks for.

#include "OperationCase.h"
#include "Services/Catalogue.h"

namespace ServicesTests {

namespace Catalogue = Quenmark::Catalogue;

std::vector<OperationCase> registrationOperations() {
    return {
        operation("asyncUserRegistration", Catalogue::userRegistration,
                  {.query = {.mailId = "ann@example.org",
                             .passWord = "s3cret \"quoted\"",
                             .firstName = "Ann",
                             .lastName = "Ångström",
                             .nickName = "annie"},
                   .queryProperties = R"({"mailId": "ann@example.org", "passWord": "s3cret \"quoted\"",
                                          "firstName": "Ann", "lastName": "Ångström", "nickName": "annie"})",
                   .path = "Registration.svc/VerifyAndRegisterUserFromTool",
                   .body = R"({
  "MailID" : "ann@example.org",
  "Password" : "s3cret \"quoted\"",
  "FirstName" : "Ann",
  "LastName" : "Ångström",
  "NickName" : "annie"
})",
                   .response = R"({"ReturnStatus": "True", "ReturnVal": 3, "UserID": "17",
                                 "CloudComputerID": "90", "error": {"ErrorCode": 0}})",
                   .record = {.returnStatus = "True",
                              .returnValue = 3,
                              .userId = "17",
                              .cloudComputerId = "90",
                              .error = json(R"({"ErrorCode": 0})")},
                   .recordProperties = R"({"returnStatus": "True", "returnValue": 3, "userId": "17",
                                           "cloudComputerId": "90", "error": {"ErrorCode": 0}})"}),
        operation("asyncRegisterComputer", Catalogue::registerComputer,
                  {.query = {.userId = "17", .quenmarkPath = "/home/ann/My Files"},
                   .queryProperties = R"({"userId": "17", "quenmarkPath": "/home/ann/My Files"})",
                   .path = "Registration.svc/RegisterComputer",
                   .body = R"({
  "UserID" : "17",
  "QuenmarkPath" : "/home/ann/My Files"
})",
                   .response = R"({"ComputerID": "91", "ReturnStatus": "0", "error": null})",
                   .record = {.computerId = "91", .returnStatus = "0", .error = json("null")},
                   .recordProperties = R"({"computerId": "91", "returnStatus": "0", "error": null})"}),
        operation("asyncSendActivationMail", Catalogue::sendActivationMail,
                  {.query = {.mailId = "ann@example.org", .userId = "17"},
                   .queryProperties = R"({"mailId": "ann@example.org", "userId": "17"})",
                   .path = "Registration.svc/SendActivationMail",
                   .body = R"({
  "MailID" : "ann@example.org",
  "UserID" : "17"
})",
                   .response = R"({"ReturnStatus": "True", "ReturnMsg": "Mail sent", "error": {}})",
                   .record = {.returnStatus = "True", .returnMsg = "Mail sent", .error = json("{}")},
                   .recordProperties = R"({"returnStatus": "True", "returnMsg": "Mail sent", "error": {}})"}),
        operation("asyncOneTimeSyncOwnersSharedFolders", Catalogue::oneTimeSyncOwnersSharedFolders,
                  {.query = {.computerId = "91", .userId = "17"},
                   .queryProperties = R"({"computerId": "91", "userId": "17"})",
                   .path = "Registration.svc/OneTimeSyncOwnersSharedFolders",
                   .body = R"({
  "ComputerID" : "91",
  "UserID" : "17"
})",
                   .response = R"({"error": {"Message": "none"}, "ReturnStatus": "1"})",
                   .record = {.returnStatus = "1", .error = json(R"({"Message": "none"})")},
                   .recordProperties = R"({"returnStatus": "1", "error": {"Message": "none"}})"}),
        operation("asyncTransferFilesFromCloudToBaseSystem", Catalogue::transferFilesFromCloudToBaseSystem,
                  {.query = {.computerID = "91", .quenmarkPath = "C:\\Users\\ann"},
                   .queryProperties = R"({"computerID": "91", "quenmarkPath": "C:\\Users\\ann"})",
                   .path = "Registration.svc/TransferFilesFromCloudToBaseSystem",
                   .body = R"({
  "ComputerID" : "91",
  "QuenmarkPath" : "C:\\Users\\ann"
})",
                   .response = R"({"ReturnStatus": 0, "error": {"Code": 12}})",
                   .record = {.returnStatus = 0, .error = json(R"({"Code": 12})")},
                   .recordProperties = R"({"returnStatus": 0, "error": {"Code": 12}})"}),
        operation("asyncCheckUserMailActivationStatus", Catalogue::checkUserMailActivationStatus,
                  {.query = {.userId = "17"},
                   .queryProperties = R"({"userId": "17"})",
                   .path = "Registration.svc/CheckUserMailActivationStatus",
                   .body = R"({
  "UserID" : "17"
})",
                   .response = R"({"ReturnStatus": "False", "ReturnVal": "2", "error": {"Message": "wait"}})",
                   .record = {.returnStatus = "False", .returnValue = "2", .error = json(R"({"Message": "wait"})")},
                   .recordProperties = R"({"returnStatus": "False", "returnValue": "2",
                                           "error": {"Message": "wait"}})"}),
        operation("asyncOneTimeSyncFiles", Catalogue::oneTimeSyncFiles,
                  {.query = {.allFiles = "[{\"FullPath\":\"a\"}]", .computerId = "91", .quenmarkPath = "/q"},
                   .queryProperties = R"({"allFiles": "[{\"FullPath\":\"a\"}]", "computerId": "91",
                                          "quenmarkPath": "/q"})",
                   .path = "Registration.svc/OneTimeSyncFiles",
                   .body = R"({
  "AllFiles" : "[{\"FullPath\":\"a\"}]",
  "ComputerID" : "91",
  "QuenmarkPath" : "/q"
})",
                   .response = R"({"ReturnStatus": true, "error": []})",
                   .record = {.returnStatus = true, .error = json("[]")},
                   .recordProperties = R"({"returnStatus": true, "error": []})"}),
        operation("asyncSendPasswordToMailId", Catalogue::sendPasswordToMailId,
                  {.query = {.mailId = "ann@example.org"},
                   .queryProperties = R"({"mailId": "ann@example.org"})",
                   .path = "Registration.svc/SendPasswordToMailID",
                   .body = R"({
  "MailID" : "ann@example.org"
})",
                   .response = R"({"ReturnMsg": "Sent", "ReturnStatus": "True", "error": "none"})",
                   .record = {.returnStatus = "True", .returnMsg = "Sent", .error = "none"},
                   .recordProperties = R"({"returnStatus": "True", "returnMsg": "Sent", "error": "none"})"}),
    };
}

} // namespace ServicesTests
