#include "WebService/OperationTable.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"
#include "WebService/Handler.h"
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
    Operation{"Registration.svc/VerifyAndRegisterUserFromTool", handler<&verifyAndRegisterUserFromTool>},
    Operation{"Registration.svc/RegisterComputer", handler<&registerComputer>},
    Operation{"Registration.svc/SendActivationMail", handler<&sendActivationMail>},
    Operation{"Registration.svc/OneTimeSyncOwnersSharedFolders", handler<&oneTimeSyncOwnersSharedFolders>},
    Operation{"Registration.svc/TransferFilesFromCloudToBaseSystem", handler<&transferFilesFromCloudToBaseSystem>},
    Operation{"Registration.svc/CheckUserMailActivationStatus", handler<&checkUserMailActivationStatus>},
    Operation{"Registration.svc/OneTimeSyncFiles", handler<&oneTimeSyncFiles>},
    Operation{"Registration.svc/SendPasswordToMailID", handler<&sendPasswordToMailID>},
    Operation{"Uploads.svc/GetTopFileUpload", handler<&getTopFileUpload>},
    Operation{downloadPath, handler<&getTopFileUploadWithStream>},
    Operation{"Uploads.svc/UpdateFileUpload", handler<&updateFileUpload>},
    Operation{"Uploads.svc/UpdateBSUploadStreamStarted", handler<&updateBSUploadStreamStarted>},
    Operation{"Uploads.svc/UpdateBSUploadStreamFailed", handler<&updateBSUploadStreamFailed>},
    Operation{"Downloads.svc/GetTopFileRequest", handler<&getTopFileRequest>},
    Operation{"Downloads.svc/UpdateFileRequest", handler<&updateFileRequest>},
    Operation{"Downloads.svc/UpdateFileRequestWithStream", &beginReceivedFile},
    Operation{"Downloads.svc/CheckFileExistsInDownloads", handler<&checkFileExistsInDownloads>},
    Operation{"Downloads.svc/UpdateBSDownloadStreamStarted", handler<&updateBSDownloadStreamStarted>},
    Operation{"Downloads.svc/UpdateBSDownloadStreamFailed", handler<&updateBSDownloadStreamFailed>},
    Operation{"Downloads.svc/GetTopFileDeleteRequest", handler<&getTopFileDeleteRequest>},
    Operation{"Downloads.svc/UpdateBSFileDeleted", handler<&updateBSFileDeleted>},
    Operation{"SyncFileChanges.svc/SyncFilesInTableAndCloud", handler<&syncFilesInTableAndCloud>},
    Operation{"SyncFileChanges.svc/InsertFile", handler<&insertFile>},
    Operation{"SyncFileChanges.svc/InsertSharedFilesTransfer", handler<&insertSharedFilesTransfer>},
    Operation{"UpdateSystemTime.svc/UpdateComputerStatus", handler<&updateComputerStatus>},
    Operation{"MAC/ErrorLog.svc/LogError", handler<&logError>},
    Operation{"MAC/SharedFiles.svc/GetSharedFilesTransferData", handler<&getSharedFilesTransferData>},
    Operation{"MAC/SharedFiles.svc/UpdateFileExists", handler<&updateFileExists>},
    Operation{"MAC/SharedFiles.svc/UpdateFileSendReceived", handler<&updateFileSendReceived>},
    Operation{"MAC/SharedFiles.svc/UploadFileWithStream", handler<&uploadFileWithStream>},
    Operation{"MAC/SharedFiles.svc/UpdateSendFileToTransfer", handler<&updateSendFileToTransfer>},
    Operation{"MAC/SharedFiles.svc/IsFileExistsInCloud", handler<&isFileExistsInCloud>},
    Operation{"MAC/SharedFiles.svc/UpdateFileReceived", handler<&updateFileReceived>},
    Operation{"MAC/SharedFiles.svc/DeleteReceivedFileFromTransfer", handler<&deleteReceivedFileFromTransfer>},
    Operation{"MAC/SharedFiles.svc/CheckFileExistsInTransfers", handler<&checkFileExistsInTransfers>},
    Operation{"MAC/SharedFiles.svc/UpdateBSSendStreamStarted", handler<&updateBSSendStreamStarted>},
    Operation{"MAC/SharedFiles.svc/UpdateBSSendStreamFailed", handler<&updateBSSendStreamFailed>},
    Operation{"MAC/SharedFiles.svc/UpdateBSReceiveStreamStarted", handler<&updateBSReceiveStreamStarted>},
    Operation{"MAC/SharedFiles.svc/UpdateBSReceiveStreamFailed", handler<&updateBSReceiveStreamFailed>},
};

/// What an operation changes within one slice, it changes at once or not at all.
class OperationExchange : public SlicedExchange {
public:
    OperationExchange(State& state, const Operation& operation)
        : SlicedExchange(state), operation_(operation),
          maxBody_(std::holds_alternative<SlicedOperation>(operation.handler) ? 16 * mebibyte : mebibyte) {}

    void receive(std::string_view piece) override {
        length_ += piece.size();
        if (length_ > maxBody_)
            throw logged(tooLong("the body is longer than " + std::to_string(maxBody_ / mebibyte) + " MiB"));
        body_.receive(piece);
    }

    std::size_t memory() const override { return body_.memory(); }

private:
    Work<Response> work() override {
        const boost::json::value& body = body_.value();
        if (const auto* run = std::get_if<SlicedOperation>(&operation_.handler))
            co_return co_await (*run)(state(), body);
        const Record request(body);
        if (const auto* run = std::get_if<DownloadOperation>(&operation_.handler))
            co_return (*run)(state(), request);
        co_return jsonResponse(200,
                               boost::json::serialize(std::get<ObjectOperation>(operation_.handler)(state(), request)));
    }

    Response errorFrom(const RequestError& error) override {
        return std::holds_alternative<DownloadOperation>(operation_.handler) ? downloadError(logged(error))
                                                                             : errorResponse(logged(error));
    }

    const RequestError& logged(const RequestError& error) const {
        logLine(std::string(operation_.path) + " refused: " + error.code() + ": " + error.what());
        return error;
    }

    const Operation& operation_;
    std::size_t maxBody_;
    std::size_t length_ = 0;
    JsonBody body_;
};

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c | 0x20) : c; });
    return text;
}

/// Whether the target is, or is meant to be, that of the download. The outbox's own paths may have any text in them.
bool isMeantForDownload(std::string_view target) {
    const std::string path = lowerCase(percentDecoded(target).value_or(std::string(target)));
    return path.find(lowerCase(std::string(downloadName))) != std::string::npos && !path.starts_with(outboxRoot);
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

Response operationError(const Request& request, const RequestError& error) {
    return isMeantForDownload(request.target) ? downloadError(error) : errorResponse(error);
}

std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const Request& request) {
    if (const auto* begin = std::get_if<StreamOperation>(&operation.handler))
        return (*begin)(state, request);
    return std::make_unique<OperationExchange>(state, operation);
}

} // namespace webservice
