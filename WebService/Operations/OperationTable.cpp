#include "WebService/Operations/OperationTable.h"

#include "WebService/Log.h"
#include "WebService/Operations/Downloads.h"
#include "WebService/Operations/ErrorLog.h"
#include "WebService/Operations/OneTimeSync.h"
#include "WebService/Operations/Registration.h"
#include "WebService/Operations/SharedFiles.h"
#include "WebService/Operations/SyncFileChanges.h"
#include "WebService/Operations/UpdateSystemTime.h"
#include "WebService/Operations/Uploads.h"
#include "WebService/ReceivedFile.h"

#include <algorithm>
#include <array>
#include <concepts>

namespace webservice {

namespace {

constexpr std::size_t longestBody = 16 << 20;

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

bool isMalformed(std::string_view code) {
    return code == "NotJson" || code == "NotAnObject" || code == "NotAList";
}

Response answered(State& state, ObjectOperation answer, std::string_view body) {
    return jsonResponse(200, boost::json::serialize(answer(state, Record::parse(body))));
}

Response answered(State& state, ListOperation answer, std::string_view body) {
    const boost::json::value list = parseJson(body);
    if (!list.is_array()) {
        throw Refusal("NotAList", "the body is not a JSON array");
    }
    return jsonResponse(200, boost::json::serialize(answer(state, list.get_array())));
}

Response answered(State& state, ResponseOperation answer, std::string_view body) {
    return answer(state, Record::parse(body));
}

// Everything that an operation changes, it changes at once or not at all.
template <typename Answer>
class OperationExchange : public Exchange {
public:
    OperationExchange(State& state, std::string_view path, Answer answer)
        : state_(state), path_(path), answer_(answer) {}

    void receive(std::string_view piece) override {
        if (body_.size() + piece.size() > longestBody) {
            throw Refused{errorResponse(413, "TooLong", "the body is longer than 16 MiB")};
        }
        body_.append(piece);
    }

    std::size_t memory() const override { return body_.capacity(); }

    Response finish() override {
        // What has happened in the outbox up to now counts, whatever becomes of this operation.
        state_.watcher.drain();
        try {
            Transaction transaction(state_.db);
            Response response = answered(state_, answer_, body_);
            transaction.commit();
            return response;
        } catch (const Refusal& refusal) {
            logLine(std::string(path_) + " refused: " + refusal.code() + ": " + refusal.what());
            return jsonResponse(isMalformed(refusal.code()) ? 400 : 200, boost::json::serialize(refused(refusal)));
        }
    }

private:
    State& state_;
    std::string_view path_;
    Answer answer_;
    std::string body_;
};

} // namespace

std::span<const Operation> operations() {
    return table;
}

const Operation* findOperation(std::string_view path) {
    constexpr std::string_view objectReplacement = "\xef\xbf\xbc";
    if (path.ends_with(objectReplacement)) {
        path.remove_suffix(objectReplacement.size());
    }
    const auto* const found = std::ranges::find(table, path, &Operation::path);
    return found == table.end() ? nullptr : found;
}

std::unique_ptr<Exchange> beginOperation(State& state, const Operation& operation, const RequestHead& head) {
    const auto begin = [&]<typename Answer>(Answer answer) -> std::unique_ptr<Exchange> {
        if constexpr (std::same_as<Answer, StreamOperation>) {
            return answer(state, head);
        } else {
            return std::make_unique<OperationExchange<Answer>>(state, operation.path, answer);
        }
    };
    return std::visit(begin, operation.answer);
}

} // namespace webservice
