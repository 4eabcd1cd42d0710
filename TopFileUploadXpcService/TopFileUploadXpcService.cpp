#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Text.h"
#include "Services/NetWorkConnectionStatus.h"
#include "Services/Properties.h"
#include "Services/RestInterface.h"
#include "Services/ServiceRoot.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/Settings.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Quenmark {

namespace Files = Platform::Files;
namespace Log = Platform::Log;
using Platform::Queue;
using Platform::text;

namespace {

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

} // namespace

void TopFileUploadXpcService::GetTopFileUpload() {
    operationQueue_ = OperationQueue{Queue::serial("TopFileUploadXpcService.operationQueue"), 4};
    iAppsPrefs_ = Platform::Preferences::persistentDomainForName(Settings::sharedDomain);
    openGate();
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
        throw std::invalid_argument(Settings::computerIdKey);
    boost::json::object params{{"ToComputerID", *query.toComputerId}};
    if (!isGateOpen())
        return;
    closeGate();
    if (!NetWorkConnectionStatus::ConectionStatus(context_.network())) {
        Log::write("connection not availble........", Log::Priority::Warning);
        openGate();
        return;
    }
    Log::write("Connection available... ", Log::Priority::Debug);
    RestInterface::asyncGetTopFileUpload(
        query,
        [self = shared_from_this(), sent = ItemClaims::ofThisProcess().now(),
         params = std::move(params)](const Result<GetTopFileUploadResponseData>& result, std::int64_t) {
            self->pollCompleted(result.value(), sent, params);
        },
        context_);
}

void TopFileUploadXpcService::pollCompleted(const GetTopFileUploadResponseData* response,
                                            const ItemClaims::Moment& sent, const boost::json::object& params) {
    const bool hasItem = response != nullptr && response->returnStatus && response->returnStatus->is_string() &&
                         response->returnStatus->get_string() == "0";
    if (!hasItem)
        return openGate();
    Item item = Item::fromPoll(*response);
    auto claim = ItemClaims::ofThisProcess().claim(LocalPaths::temporaryPath(item.fileName), item.fileUploadID, sent);
    if (!claim)
        return openGate();
    beginItem(std::move(item));
    refreshPendingUploadIDs();
    if (item_.isCalledFile()) {
        startAsyncDownloadWithStreamRequest(serviceRoot(context_.settings()) + "Uploads.svc/GetTopFileUploadWithStream",
                                            params);
        claim_ = std::move(claim);
    } else {
        createFolderItem();
        whenDurable(flushOfFolders(), [this, query = item_.acknowledgement(), claim] {
            acknowledge(query, claim);
            openGate();
        });
    }
}

void TopFileUploadXpcService::beginItem(Item item) {
    item_ = std::move(item);
    filePath_ = finalPath();
    tempFilePath_ = LocalPaths::temporaryPath(item_.fileName);
    fileLength_ = text(LocalPaths::temporaryArea().size(*tempFilePath_).value_or(0));
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
    return LocalPaths::finalPath(settingText(Settings::quenmarkPathKey), item_.fileName);
}

void TopFileUploadXpcService::acknowledgeFileUploadProcess(const UpdateFileUploadQuery& query) {
    acknowledge(query, nullptr);
}

void TopFileUploadXpcService::acknowledge(const UpdateFileUploadQuery& query, Claim claim) {
    RestInterface::asyncUpdateFileUpload(
        query,
        [self = shared_from_this(), id = query.fileUploadId,
         claim = std::move(claim)](const Result<UpdateFileUploadResponseData>& result, std::int64_t) {
            ItemClaims::ofThisProcess().acknowledged(id);
            const auto* response = result.value();
            if (response == nullptr || Platform::integerValue(text(response->returnStatus)) != 0)
                return;
            self->openGate();
            self->markFinished();
        },
        context_);
}

void TopFileUploadXpcService::logErrorMethod(const std::any&) {
    LogErrorQuery query;
    query.errorClass = "TopFileUploadtXpcService";
    query.errorMethod = "UpdateFileUploadQuery";
    query.errorMessage = "Exception has occured";
    query.computerId = itemText(valueOf(iAppsPrefs_, Settings::computerIdKey), Settings::computerIdKey);
    query.userId = itemText(valueOf(iAppsPrefs_, Settings::userIdKey), Settings::userIdKey);
    RestInterface::asyncLogError(
        query,
        [](const Result<LogErrorResponseData>& result, std::int64_t) {
            const auto* response = result.value();
            Log::write("Error occured...." + (response != nullptr ? text(propertiesOf(*response)) : text(std::nullopt)),
                       Log::Priority::Error);
        },
        context_);
}

void TopFileUploadXpcService::clearTemp(const std::string& path) {
    LocalPaths::temporaryArea().removeContentsOf(LocalPaths::topLevelFolder(path));
}

void TopFileUploadXpcService::setRepresentedObject(const std::any&) {}

} // namespace Quenmark
