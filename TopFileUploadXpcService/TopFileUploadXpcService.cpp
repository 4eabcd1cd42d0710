#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Printable.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Text.h"
#include "Services/Catalogue.h"
#include "Services/NetWorkConnectionStatus.h"
#include "Services/Properties.h"
#include "Services/RestInterface.h"
#include "Services/RestStatus.h"
#include "Services/ServiceRoot.h"
#include "TopFileUploadXpcService/CompatiblePolicy.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/Settings.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Quenmark {

namespace Log = Platform::Log;
using Platform::Queue;
using Platform::text;
using Kind = AttemptEnd::Kind;

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

std::string descriptionOf(const Platform::Error* error) {
    return error != nullptr ? error->localizedDescription : "";
}

/// The end of an attempt whose poll failed.
AttemptEnd endOfPoll(const Platform::Error* error, std::int64_t status) {
    if (status == RestStatusNotReachable)
        return {Kind::NoNetwork};
    std::string detail = descriptionOf(error);
    if (status == RestStatusTransportError)
        return {.kind = Kind::PollFailed, .number = error != nullptr ? error->code : 0, .detail = std::move(detail)};
    return {.kind = Kind::PollFailed, .reason = "bad response", .detail = std::move(detail)};
}

} // namespace

TopFileUploadXpcService::TopFileUploadXpcService(ServiceContext context, std::unique_ptr<EnginePolicy> policy,
                                                 std::unique_ptr<EngineObserver> observer)
    : context_(std::move(context)), policy_(policy ? std::move(policy) : std::make_unique<CompatiblePolicy>()),
      observer_(observer ? std::move(observer) : std::make_unique<EngineObserver>()) {}

TopFileUploadXpcService::~TopFileUploadXpcService() = default;

void TopFileUploadXpcService::GetTopFileUpload() {
    observer_->started();
    operationQueue_ = OperationQueue{Queue::serial("TopFileUploadXpcService.operationQueue"), 4};
    iAppsPrefs_ = Platform::Preferences::persistentDomainForName(Settings::sharedDomain);
    policy_->started([engine = weak_from_this()] {
        if (const auto self = engine.lock())
            self->TopFileUploadProcess();
    });
    if (!policy_->startsPassOnCall(isAttempting()))
        return;
    openGate();
    TopFileUploadProcess();
}

void TopFileUploadXpcService::TopFileUploadProcess() {
    observer_->passed();
    try {
        runPass(beginAttempt());
    } catch (...) {
        reportException();
    }
    policy_->passEnded([self = shared_from_this()] { self->TopFileUploadProcess(); }, isAttempting());
}

bool TopFileUploadXpcService::isAttempting() const {
    const auto attempt = attempt_.lock();
    return attempt && !attempt->isOver();
}

TopFileUploadXpcService::AttemptPointer TopFileUploadXpcService::beginAttempt() {
    const auto number = ++attempts_;
    auto attempt = std::make_shared<Attempt>(
        number, [engine = weak_from_this()](const Attempt& ended, const AttemptEnd& end, bool isFirst) {
            // Attempts dropped by a loop that is being destroyed are not failures.
            if (const auto self = engine.lock(); self && !Platform::RunLoop::main().isEnding())
                self->attemptEnded(ended, end, isFirst);
        });
    attempt_ = attempt;
    return attempt;
}

void TopFileUploadXpcService::attemptEnded(const Attempt& attempt, const AttemptEnd& end, bool isFirst) {
    if (policy_->attemptEnded(end, isFirst))
        openGate();
    observer_->ended(attempt.number(), end, isFirst, isGateOpen());
    // If another attempt closed the gate, its end may open it.
    const bool isStalled = !isGateOpen() && !isAttempting();
    if (isFirst)
        attemptLog_.ended(attempt, end, policy_->nextStep(isStalled), isStalled);
}

EngineObserver::AttemptNumber TopFileUploadXpcService::numberOf(const ItemFetch& fetch) {
    return fetch.attempt ? fetch.attempt->number() : 0;
}

void TopFileUploadXpcService::noteResponse(std::int64_t status) {
    if (status == RestStatusSuccess || status == RestStatusDecodeError)
        observer_->responded();
}

void TopFileUploadXpcService::reportException() {
    try {
        logErrorMethod(textOfException());
    } catch (...) {
        // The next pass is scheduled all the same.
        Log::write("The error report cannot be sent: " + textOfException(), Log::Priority::Error);
    }
}

void TopFileUploadXpcService::runPass(const AttemptPointer& attempt) {
    GetTopFileUploadQuery query;
    iAppsPrefs_ = Platform::Preferences::persistentDomainForName(Settings::sharedDomain);
    missingSettings_.report(iAppsPrefs_);
    query.toComputerId = itemText(valueOf(iAppsPrefs_, Settings::computerIdKey), Settings::computerIdKey);
    if (!query.toComputerId) {
        attempt->end({Kind::NotConfigured});
        throw std::invalid_argument(Settings::computerIdKey);
    }
    boost::json::object params{{"ToComputerID", *query.toComputerId}};
    if (!isGateOpen()) {
        observer_->foundGateClosed();
        return attempt->dismiss();
    }
    closeGate();
    if (!NetWorkConnectionStatus::ConectionStatus(context_.network())) {
        Log::write("connection not availble........", Log::Priority::Warning);
        return attempt->end({Kind::NoNetwork});
    }
    Log::write("Connection available... ", Log::Priority::Debug);
    observer_->pollSent(attempt->number());
    RestInterface::asyncGetTopFileUpload(
        query,
        [self = shared_from_this(), sent = ItemClaims::ofThisProcess().now(), params = std::move(params),
         attempt](const Result<GetTopFileUploadResponseData>& result, std::int64_t status) {
            self->pollCompleted(result, status, sent, params, attempt);
        },
        context_);
}

void TopFileUploadXpcService::pollCompleted(const Result<GetTopFileUploadResponseData>& result, std::int64_t status,
                                            const ItemClaims::Moment& sent, const boost::json::object& params,
                                            const AttemptPointer& attempt) {
    noteResponse(status);
    const auto* response = result.value();
    if (response == nullptr)
        return attempt->end(endOfPoll(result.error(), status));
    if (!policy_->isReadable(*response))
        return attempt->end({Kind::BadResponse});
    const auto& returnStatus = response->returnStatus;
    if (!returnStatus || !returnStatus->is_string() || returnStatus->get_string() != "0")
        return attempt->end({Kind::NoItem});
    Item item = Item::fromPoll(*response);
    auto& progress = attempt->progress();
    progress.hasItem = true;
    progress.item = item.fileName.value_or("");
    progress.offered = Platform::RunLoop::main().now();
    observer_->offered(attempt->number(), progress.item);
    if (const auto refusal = policy_->refusal(item))
        return attempt->end(*refusal);
    auto claim = ItemClaims::ofThisProcess().claim(LocalPaths::temporaryPath(item.fileName), item.fileUploadID, sent);
    if (!claim)
        return attempt->end({Kind::NoItem});
    const auto plan = beginItem(std::move(item));
    if (plan.failure)
        return attempt->end(*plan.failure);
    refreshPendingUploadIDs();
    progress.bytes = plan.offset;
    const ItemFetch fetch{attempt, std::move(claim), item_, paths(), plan.offset};
    if (!item_.isCalledFile())
        return placeFolder(fetch);
    if (plan.step != EnginePolicy::FetchPlan::Step::Download)
        observer_->foundComplete(attempt->number(), plan.offset);
    switch (plan.step) {
    case EnginePolicy::FetchPlan::Step::Download:
        return download(fetch, params);
    case EnginePolicy::FetchPlan::Step::Place:
        return acknowledgeWhenDurable(policy_->placement(fetch.paths), fetch);
    case EnginePolicy::FetchPlan::Step::Acknowledge:
        return acknowledgeWhenDurable(policy_->flushOfPlaced(fetch.paths), fetch);
    }
}

void TopFileUploadXpcService::download(const ItemFetch& fetch, const boost::json::object& params) {
    fetch_ = fetch;
    observer_->downloadBegan(numberOf(fetch), fetch.offset);
    try {
        startAsyncDownloadWithStreamRequest(
            serviceRoot(context_.settings()).append(Catalogue::getTopFileUploadWithStream.path), params);
    } catch (...) {
        fetch_ = {};
        throw;
    }
}

EnginePolicy::FetchPlan TopFileUploadXpcService::beginItem(Item item) {
    item_ = std::move(item);
    filePath_ = finalPath();
    tempFilePath_ = LocalPaths::temporaryPath(item_.fileName);
    const auto plan = policy_->planFetch(item_, paths());
    fileLength_ = text(plan.offset);
    return plan;
}

ItemPaths TopFileUploadXpcService::paths() const {
    return {text(tempFilePath_), text(filePath_), settingText(Settings::quenmarkPathKey)};
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
    acknowledge(query, {.attempt = beginAttempt()});
}

void TopFileUploadXpcService::acknowledge(const UpdateFileUploadQuery& query, const ItemFetch& fetch) {
    observer_->acknowledging(numberOf(fetch));
    RestInterface::asyncUpdateFileUpload(
        query,
        [self = shared_from_this(), id = query.fileUploadId, fetch](const Result<UpdateFileUploadResponseData>& result,
                                                                    std::int64_t operationStatus) {
            self->noteResponse(operationStatus);
            ItemClaims::ofThisProcess().acknowledged(id);
            const auto* response = result.value();
            if (response == nullptr)
                return fetch.attempt->end({.kind = Kind::NotAcknowledged, .detail = descriptionOf(result.error())});
            if (const int status = Platform::integerValue(text(response->returnStatus)))
                return fetch.attempt->end({Kind::AcknowledgementRefused, status});
            if (!self->policy_->isConfirmation(*response))
                return fetch.attempt->end({Kind::BadResponse});
            self->markFinished();
            self->policy_->forget(fetch.paths);
            const auto& placementError = fetch.attempt->placementError();
            if (!placementError.empty())
                Log::write("The item " + Platform::printable(text(fetch.offered.fileName)) +
                               " is acknowledged, but not in place: " + placementError,
                           Log::Priority::Error);
            fetch.attempt->end({.kind = Kind::Acknowledged, .reason = placementError});
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
