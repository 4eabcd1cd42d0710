#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Log.h"
#include "Platform/Preferences.h"
#include "Platform/Text.h"
#include "Services/NetWorkConnectionStatus.h"
#include "Services/Properties.h"
#include "Services/RestInterface.h"
#include "Services/ServiceRoot.h"
#include "TopFileUploadXpcService/ItemText.h"
#include "TopFileUploadXpcService/Settings.h"
#include "TopFileUploadXpcService/TemporaryArea.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Quenmark {

namespace Files = Platform::Files;
namespace Log = Platform::Log;
using Platform::Queue;
using Platform::text;

namespace {

constexpr const char* finishedMark = "99";
constexpr const char* isFileText = "True";

std::optional<boost::json::value> valueOf(const std::optional<boost::json::object>& settings, std::string_view key) {
    const auto* value = settings ? settings->if_contains(key) : nullptr;
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

/// What the exception says that is being handled.
std::string textOfException() {
    try {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "an exception of no known kind";
    }
}

void createDirectoryWhereNothingIs(const std::string& path) {
    if (!Files::exists(path))
        Files::createDirectory(path);
}

} // namespace

void TopFileUploadXpcService::GetTopFileUpload() {
    operationQueue_ = OperationQueue{Queue::serial("TopFileUploadXpcService.operationQueue"), 4};
    iAppsPrefs_ = Platform::Preferences::persistentDomainForName(Settings::sharedDomain);
    downloadStatus_ = true;
    TopFileUploadProcess();
}

void TopFileUploadXpcService::TopFileUploadProcess() {
    try {
        runPass();
    } catch (...) {
        reportException();
    }
    Queue::global(Platform::Priority::Background).after(Settings::pollInterval, [self = shared_from_this()] {
        self->TopFileUploadProcess();
    });
}

void TopFileUploadXpcService::reportException() {
    try {
        logErrorMethod(textOfException());
    } catch (...) {
        // The next pass is scheduled all the same.
        Log::write("The error report cannot be sent: " + textOfException(), Log::Priority::Error);
    }
}

void TopFileUploadXpcService::runPass() {
    GetTopFileUploadQuery query;
    iAppsPrefs_ = Platform::Preferences::persistentDomainForName(Settings::sharedDomain);
    missingSettings_.report(iAppsPrefs_);
    query.toComputerId = itemText(valueOf(iAppsPrefs_, Settings::computerIdKey), Settings::computerIdKey);
    if (!query.toComputerId)
        throw std::invalid_argument("there is no computerIdKey to ask with");
    boost::json::object params{{"ToComputerID", *query.toComputerId}};
    if (!downloadStatus_)
        return;
    downloadStatus_ = false;
    if (!NetWorkConnectionStatus::ConectionStatus()) {
        Log::write("connection not availble........", Log::Priority::Warning);
        downloadStatus_ = true;
        return;
    }
    Log::write("Connection available... ", Log::Priority::Debug);
    RestInterface::asyncGetTopFileUpload(query,
                                         [self = shared_from_this(), params = std::move(params)](
                                             const Result<GetTopFileUploadResponseData>& result, std::int64_t status) {
                                             self->pollCompleted(result.answer(), status, params);
                                         });
}

void TopFileUploadXpcService::pollCompleted(const GetTopFileUploadResponseData* answer, std::int64_t status,
                                            const boost::json::object& params) {
    const bool hasItem = status == RestStatusSuccess && answer != nullptr && answer->returnStatus &&
                         answer->returnStatus->is_string() && answer->returnStatus->get_string() == "0";
    if (!hasItem) {
        downloadStatus_ = true;
        return;
    }
    takeItem(*answer);
    refreshPendingUploadIDs();
    if (isFile_ == isFileText) {
        startAsyncDownloadWithStreamRequest(serviceRoot() + "Uploads.svc/GetTopFileUploadWithStream", params);
    } else {
        createFolderItem();
        acknowledge();
        downloadStatus_ = true;
    }
}

void TopFileUploadXpcService::takeItem(const GetTopFileUploadResponseData& answer) {
    fileLength_ = "0";
    isFile_ = itemText(answer.isFile, "IsFile");
    fileName_ = itemText(answer.fileName, "FileName");
    fileUploadID_ = itemText(answer.fileUploadId, "FileUploadID");
    serverPath_ = itemText(answer.serverPath, "ServerPath");
    toComputerID_ = itemText(answer.toComputerId, "ToComputerID");
    transitUploadPath_ = itemText(answer.transitUploadPath, "TransitUploadPath");
    uploadProcessed_ = itemText(answer.uploadProcessed, "UploadProcessed");
    filePath_ = finalPath();
    tempFilePath_ = Platform::Environment::temporaryDirectory() + temporaryAreaName + convertedName(fileName_);
    if (const auto size = temporaryArea().size(*tempFilePath_))
        fileLength_ = text(size);
}

void TopFileUploadXpcService::refreshPendingUploadIDs() {
    const auto pending = Platform::Preferences::objectForKey(Settings::ownDomain, Settings::pendingUploadIDsKey);
    if (pending && pending->is_array())
        pendingUploadIDArray_ = pending->get_array();
    else
        pendingUploadIDArray_.reset();
}

std::string TopFileUploadXpcService::settingText(std::string_view key) const {
    return text(itemText(valueOf(iAppsPrefs_, key), key));
}

std::string TopFileUploadXpcService::finalPath() const {
    return settingText(Settings::quenmarkPathKey) + "/Quenmark" + convertedName(fileName_);
}

void TopFileUploadXpcService::createFolderItem() {
    createDirectoryWhereNothingIs(finalPath());
}

void TopFileUploadXpcService::acknowledge() {
    UpdateFileUploadQuery query;
    query.fileUploadId = fileUploadID_;
    query.fileName = fileName_;
    query.serverPath = serverPath_;
    query.transitUploadPath = transitUploadPath_;
    acknowledgeFileUploadProcess(query);
}

void TopFileUploadXpcService::acknowledgeFileUploadProcess(const UpdateFileUploadQuery& query) {
    RestInterface::asyncUpdateFileUpload(
        query, [self = shared_from_this()](const Result<UpdateFileUploadResponseData>& result, std::int64_t status) {
            const auto* answer = result.answer();
            if (status != RestStatusSuccess || answer == nullptr)
                return;
            if (Platform::integerValue(text(answer->returnStatus)) != 0)
                return;
            self->downloadStatus_ = true;
            self->returnStatus_ = finishedMark;
        });
}

void TopFileUploadXpcService::logErrorMethod(const std::any&) {
    LogErrorQuery query;
    query.errorClass = "TopFileUploadtXpcService";
    query.errorMethod = "UpdateFileUploadQuery";
    query.errorMessage = "Exception has occured";
    query.computerId = itemText(valueOf(iAppsPrefs_, Settings::computerIdKey), Settings::computerIdKey);
    query.userId = itemText(valueOf(iAppsPrefs_, Settings::userIdKey), Settings::userIdKey);
    RestInterface::asyncLogError(query, [](const Result<LogErrorResponseData>& result, std::int64_t) {
        const auto* answer = result.answer();
        Log::write("Error occured...." + (answer != nullptr ? text(propertiesOf(*answer)) : text(std::nullopt)),
                   Log::Priority::Error);
    });
}

void TopFileUploadXpcService::clearTemp(const std::string& path) {
    const std::string area = temporaryAreaName;
    const std::string bounded = "/" + path + "/";
    const std::size_t place = bounded.find("/" + area + "/");
    const std::size_t begin = place == std::string::npos ? bounded.size() : place + area.size() + 2;
    const std::size_t end = bounded.find('/', begin);
    if (begin >= bounded.size() || end == std::string::npos)
        throw std::out_of_range("clearTemp: no component follows QuenmarkTemp in " + path);
    temporaryArea().removeContentsOf(Files::appendingPathComponent(Platform::Environment::temporaryDirectory(),
                                                                   area + "/" + bounded.substr(begin, end - begin)));
}

void TopFileUploadXpcService::setRepresentedObject(const std::any&) {}

} // namespace Quenmark
