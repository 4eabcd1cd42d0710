#include "WebService/OperationTable.h"

#include "WebService/Common/Log.h"
#include "WebService/Operations/Downloads.h"
#include "WebService/Operations/ErrorLog.h"
#include "WebService/Operations/JsonBody.h"
#include "WebService/Operations/OneTimeSync.h"
#include "WebService/Operations/Registration.h"
#include "WebService/Operations/SharedFiles.h"
#include "WebService/Operations/SyncFileChanges.h"
#include "WebService/Operations/UpdateSystemTime.h"
#include "WebService/Operations/Uploads.h"
#include "WebService/ReceivedFile.h"
#include "WebService/SlicedExchange.h"

#include <algorithm>
#include <array>

namespace webservice {

namespace {

constexpr std::size_t mebibyte = 1 << 20;

constexpr std::array table = {
    Operation{"Registration.svc/VerifyAndRegisterUserFromTool", &verifyAndRegisterUserFromTool},
    Operation{"Registration.svc/RegisterComputer", &registerComputer},
    Operation{"Registration.svc/SendActivationMail", &sendActivationMail},
    Operation{"Registration.svc/OneTimeSyncOwnersSharedFolders", &oneTimeSyncOwnersSharedFolders},
    Operation{"Registration.svc/TransferFilesFromCloudToBaseSystem", &transferFilesFromCloudToBaseSystem},
    Operation{"Registration.svc/CheckUserMailActivationStatus", &checkUserMailActivationStatus},
    Operation{"Registration.svc/OneTimeSyncFiles", &oneTimeSyncFiles},
    Operation{"Registration.svc/SendPasswordToMailID", &sendPasswordToMailID},
    Operation{"Uploads.svc/GetTopFileUpload", &getTopFileUpload},
    Operation{"Uploads.svc/GetTopFileUploadWithStream", &getTopFileUploadWithStream},
    Operation{"Uploads.svc/UpdateFileUpload", &updateFileUpload},
    Operation{"Uploads.svc/UpdateBSUploadStreamStarted", &updateBSUploadStreamStarted},
    Operation{"Uploads.svc/UpdateBSUploadStreamFailed", &updateBSUploadStreamFailed},
    Operation{"Downloads.svc/GetTopFileRequest", &getTopFileRequest},
    Operation{"Downloads.svc/UpdateFileRequest", &updateFileRequest},
    Operation{"Downloads.svc/UpdateFileRequestWithStream", &beginReceivedFile},
    Operation{"Downloads.svc/CheckFileExistsInDownloads", &checkFileExistsInDownloads},
    Operation{"Downloads.svc/UpdateBSDownloadStreamStarted", &updateBSDownloadStreamStarted},
    Operation{"Downloads.svc/UpdateBSDownloadStreamFailed", &updateBSDownloadStreamFailed},
    Operation{"Downloads.svc/GetTopFileDeleteRequest", &getTopFileDeleteRequest},
    Operation{"Downloads.svc/UpdateBSFileDeleted", &updateBSFileDeleted},
    Operation{"SyncFileChanges.svc/SyncFilesInTableAndCloud", &syncFilesInTableAndCloud},
    Operation{"SyncFileChanges.svc/InsertFile", &insertFile},
    Operation{"SyncFileChanges.svc/InsertSharedFilesTransfer", &insertSharedFilesTransfer},
    Operation{"UpdateSystemTime.svc/UpdateComputerStatus", &updateComputerStatus},
    Operation{"MAC/ErrorLog.svc/LogError", &logError},
    Operation{"MAC/SharedFiles.svc/GetSharedFilesTransferData", &getSharedFilesTransferData},
    Operation{"MAC/SharedFiles.svc/UpdateFileExists", &updateFileExists},
    Operation{"MAC/SharedFiles.svc/UpdateFileSendReceived", &updateFileSendReceived},
    Operation{"MAC/SharedFiles.svc/UploadFileWithStream", &uploadFileWithStream},
    Operation{"MAC/SharedFiles.svc/UpdateSendFileToTransfer", &updateSendFileToTransfer},
    Operation{"MAC/SharedFiles.svc/IsFileExistsInCloud", &isFileExistsInCloud},
    Operation{"MAC/SharedFiles.svc/UpdateFileReceived", &updateFileReceived},
    Operation{"MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer", &deleteReceivedFileFromTransfer},
    Operation{"MAC/SharedFiles.svc/CheckFileExistsInTransfers", &checkFileExistsInTransfers},
    Operation{"MAC/SharedFiles.svc/UpdateBSSendStreamStarted", &updateBSSendStreamStarted},
    Operation{"MAC/SharedFiles.svc/UpdateBSSendStreamFailed", &updateBSSendStreamFailed},
    Operation{"MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted", &updateBSReceiveStreamStarted},
    Operation{"MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed", &updateBSReceiveStreamFailed},
};

int statusOf(const std::string& code) {
    if (code == "NotJson" || code == "NotAnObject" || code == "NotAList")
        return 400;
    return code == "TooLong" || code == "TooMany" ? 413 : 200;
}

/// What an operation changes within one slice, it changes at once or not at all.
class OperationExchange : public SlicedExchange {
public:
    OperationExchange(State& state, const Operation& operation)
        : SlicedExchange(state), operation_(operation),
          longestBody_(std::holds_alternative<SlicedOperation>(operation.answer) ? 16 * mebibyte : mebibyte) {}

    void receive(std::string_view piece) override {
        length_ += piece.size();
        if (length_ > longestBody_)
            throw Refused{refuse(
                Refusal("TooLong", "the body is longer than " + std::to_string(longestBody_ / mebibyte) + " MiB"))};
        body_.receive(piece);
    }

    std::size_t memory() const override { return body_.memory(); }

private:
    Work<Response> work() override {
        const boost::json::value& body = body_.value();
        if (const auto* answer = std::get_if<SlicedOperation>(&operation_.answer))
            co_return co_await (*answer)(state(), body);
        const Record request(body);
        if (const auto* answer = std::get_if<DownloadOperation>(&operation_.answer))
            co_return (*answer)(state(), request);
        co_return jsonResponse(200,
                               boost::json::serialize(std::get<ObjectOperation>(operation_.answer)(state(), request)));
    }

    Response refuse(const Refusal& refusal) override {
        logLine(std::string(operation_.path) + " refused: " + refusal.code() + ": " + refusal.what());
        Response response = errorResponse(statusOf(refusal.code()), refusal.code(), refusal.what());
        return std::holds_alternative<DownloadOperation>(operation_.answer) ? refusedDownload(std::move(response))
                                                                            : std::move(response);
    }

    const Operation& operation_;
    std::size_t longestBody_;
    std::size_t length_ = 0;
    JsonBody body_;
};

/// Whether the target is, or is meant to be, that of the download. The outbox's own paths may have any text in them.
bool isMeantForDownload(std::string_view target) {
    std::string path = percentDecoded(target).value_or(std::string(target));
    std::ranges::transform(path, path.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c | 0x20) : c; });
    return path.find("gettopfileuploadwithstream") != std::string::npos && !path.starts_with("/outbox/");
}

} // namespace

std::span<const Operation> operations() {
    return table;
}

const Operation* findOperation(std::string_view path) {
    constexpr std::string_view strayCharacter = "\xef\xbf\xbc";
    constexpr std::string_view strayPath = "Downloads.svc/UpdateBSDownloadStreamFailed";
    if (path.starts_with(strayPath) && path.substr(strayPath.size()) == strayCharacter)
        path = strayPath;
    const auto* const found = std::ranges::find(table, path, &Operation::path);
    return found == table.end() ? nullptr : found;
}

Response refusalOf(const RequestHead& head, Response response) {
    return isMeantForDownload(head.target) ? refusedDownload(std::move(response)) : std::move(response);
}

std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const RequestHead& head) {
    if (const auto* begin = std::get_if<StreamOperation>(&operation.answer))
        return (*begin)(state, head);
    return std::make_unique<OperationExchange>(state, operation);
}

} // namespace webservice
