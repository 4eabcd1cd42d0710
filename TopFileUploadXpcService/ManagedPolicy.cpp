#include "TopFileUploadXpcService/ManagedPolicy.h"

#include "Platform/Files/Flush.h"
#include "Platform/Log.h"
#include "Platform/Text.h"
#include "Services/NetWorkConnectionStatus.h"
#include "TopFileUploadXpcService/ItemRecord.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/ManagedPlacement.h"
#include "TopFileUploadXpcService/Settings.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace Quenmark {

namespace Log = Platform::Log;
using Kind = AttemptEnd::Kind;
using Platform::HttpUrlResponse;
using Platform::NetworkTarget;

namespace {

AttemptEnd nameLeavesTheFolder() {
    return {.kind = Kind::NotPlaced, .reason = "name leaves the folder"};
}

/// The value of a header field; what the poll said where the stream has no such field.
std::optional<std::string> fieldOr(const HttpUrlResponse& response, std::string_view name,
                                   const std::optional<std::string>& offered) {
    auto value = response.allHeaderFields.valueForExactName(name);
    return value ? std::move(value) : offered;
}

} // namespace

ManagedPolicy::Jitter ManagedPolicy::randomJitter() {
    return [engine = std::minstd_rand(std::random_device()())]() mutable {
        return std::uniform_real_distribution<>(-1, 1)(engine);
    };
}

ManagedPolicy::ManagedPolicy(Platform::NetworkSource network) : ManagedPolicy(std::move(network), randomJitter()) {}

ManagedPolicy::ManagedPolicy(Platform::NetworkSource network, Jitter jitter)
    : jitter_(std::move(jitter)),
      network_(NetworkTarget::createWithIPv4Address(NetworkTarget::zeroAddress, std::move(network))) {}

Platform::Duration ManagedPolicy::waitAfterFailures(int count, double jitter) {
    constexpr double longest = 300;
    const double seconds = std::min(std::exp2(std::min(count, 16)), longest);
    const double wait = std::min(seconds * (1 + 0.1 * jitter), longest);
    return std::chrono::duration_cast<Platform::Duration>(std::chrono::duration<double>(wait));
}

void ManagedPolicy::started(std::function<void()> pass) {
    if (std::exchange(isStarted_, true))
        return;
    timer_.setPass(std::move(pass));
    network_->setCallback([this](std::uint32_t flags) {
        if (NetWorkConnectionStatus::connectionStatusForFlags(flags))
            timer_.endNow();
    });
}

bool ManagedPolicy::startsPassOnCall(bool isAttempting) {
    isCalled_ = isAttempting;
    timer_.cancel();
    return !isAttempting;
}

void ManagedPolicy::passEnded(std::function<void()>, bool isAttempting) {
    // A pass that could not even begin an attempt, for want of memory, is repeated.
    if (!isAttempting && !timer_.isWaiting())
        timer_.begin(Settings::pollInterval);
}

bool ManagedPolicy::attemptEnded(const AttemptEnd& end, bool isFirst) {
    if (!isFirst)
        return false;
    const bool hasNotAsked = end.kind == Kind::NoNetwork || end.kind == Kind::NotConfigured;
    const bool hasFailed = end.kind != Kind::NoItem && end.kind != Kind::Acknowledged && !hasNotAsked;
    if (end.kind == Kind::Refused && resumed_.offset > 0)
        ++resumed_.refusals;
    if (hasFailed)
        ++failures_;
    else if (!hasNotAsked)
        failures_ = 0;

    Platform::Duration wait = hasFailed ? waitAfterFailures(failures_, jitter_()) : Settings::pollInterval;
    if (std::exchange(isCalled_, false) || end.kind == Kind::Acknowledged)
        wait = {};
    wait_ = wait;
    timer_.begin(wait);
    return true;
}

std::string ManagedPolicy::nextStep(bool) const {
    const auto seconds = std::chrono::round<std::chrono::seconds>(wait_).count();
    return "the next attempt follows in " + std::to_string(seconds) + " s";
}

bool ManagedPolicy::isReadable(const GetTopFileUploadResponseData& response) const {
    return response.returnStatus && (response.returnStatus->is_string() || response.returnStatus->is_number());
}

bool ManagedPolicy::isConfirmation(const UpdateFileUploadResponseData& response) const {
    return Platform::text(response.returnStatus) == "0";
}

std::optional<AttemptEnd> ManagedPolicy::refusal(const Item& item) const {
    if (!LocalPaths::isInsideFolder(item.fileName))
        return nameLeavesTheFolder();
    if (!item.isCalledFile() && !item.isCalledFolder())
        return AttemptEnd{Kind::BadResponse};
    return std::nullopt;
}

EnginePolicy::FetchPlan ManagedPolicy::planFetch(const Item& item, const ItemPaths& paths) {
    const ItemRecord record(paths, item.fileUploadID);
    const auto found = record.inspect();
    if (const auto* error = std::get_if<Platform::Error>(&found))
        return {.failure = writeFailed(*error, 0)};
    auto plan = std::get<FetchPlan>(found);
    if (resumed_.path != paths.temporary || resumed_.offset != plan.offset)
        resumed_ = {.path = paths.temporary, .offset = plan.offset};
    if (plan.step == FetchPlan::Step::Download && resumed_.refusals >= maxRefusals) {
        record.forget();
        plan = {};
        resumed_ = {.path = paths.temporary};
    }
    return plan;
}

Item ManagedPolicy::itemOfStream(const Item& offered, const HttpUrlResponse& response) const {
    // What it is was checked as the stream began.
    return {.isFile = offered.isFile,
            .fileName = fieldOr(response, "FileName", offered.fileName),
            .fileUploadID = offered.fileUploadID,
            .serverPath = fieldOr(response, "ServerPath", offered.serverPath),
            .toComputerID = fieldOr(response, "ToComputerID", offered.toComputerID),
            .transitUploadPath = fieldOr(response, "TransitUploadPath", offered.transitUploadPath),
            .uploadProcessed = fieldOr(response, "UploadProcessed", offered.uploadProcessed)};
}

std::optional<AttemptEnd> ManagedPolicy::streamBegan(const Item& offered, const HttpUrlResponse& response,
                                                     const ItemPaths& paths, std::uint64_t offset) {
    const auto field = [&](std::string_view name) { return response.allHeaderFields.valueForExactName(name); };
    const bool isOfTheItem = field("FileUploadID") == offered.fileUploadID && field("IsFile") != "False";
    if (!isOfTheItem || response.statusCode / 100 != 2)
        return AttemptEnd{Kind::BadResponse};
    if (!LocalPaths::isInsideFolder(fieldOr(response, "FileName", offered.fileName)))
        return nameLeavesTheFolder();
    const ItemRecord record(paths, offered.fileUploadID);
    if (!record.continuesAt(offset))
        return AttemptEnd{Kind::BadResponse};
    const auto length = response.expectedContentLength;
    const auto total = length ? std::optional(offset + *length) : std::nullopt;
    if (!record.fits(total)) {
        // A stream without bytes may be a passing failure. Any other one is of another version of the item.
        if (length == 0)
            ++resumed_.refusals;
        else
            record.forget();
        return AttemptEnd{Kind::BadResponse};
    }
    if (length.value_or(0) > 0)
        resumed_ = {};
    if (const auto error = record.begin(total))
        return writeFailed(*error, total.value_or(offset) - offset);
    return std::nullopt;
}

std::string_view ManagedPolicy::nextBytes(std::string_view piece, std::size_t remaining) const {
    return piece.substr(piece.size() - remaining);
}

std::optional<AttemptEnd> ManagedPolicy::writeFailed(const Platform::Error& error, std::uint64_t missing) const {
    return AttemptEnd{.kind = Kind::NotWritten, .reason = ManagedPlacement::reasonOf(error, missing)};
}

std::optional<AttemptEnd> ManagedPolicy::streamEnded(const Item& offered, const ItemPaths& paths) {
    const ItemRecord record(paths, offered.fileUploadID);
    if (!record.isComplete()) {
        ++resumed_.refusals;
        return AttemptEnd{Kind::BadResponse};
    }
    if (const auto error = record.complete())
        Log::write("It cannot be noted that a file is complete: " + Platform::text(*error), Log::Priority::Warning);
    return std::nullopt;
}

Platform::Flusher::Work ManagedPolicy::placement(const ItemPaths& paths) const {
    return [area = LocalPaths::temporaryArea(), paths] { return ManagedPlacement::placeFile(area, paths); };
}

Platform::Flusher::Work ManagedPolicy::flushOfPlaced(const ItemPaths& paths) const {
    return [path = paths.final] { return Platform::Flush::present(path); };
}

Platform::Flusher::Work ManagedPolicy::folderPlacement(const ItemPaths& paths) const {
    return [paths] { return ManagedPlacement::placeFolder(paths); };
}

std::optional<AttemptEnd> ManagedPolicy::placementFailed(const Platform::Error& error, const ItemPaths& paths) const {
    const auto size = LocalPaths::temporaryArea().size(paths.temporary).value_or(0);
    return AttemptEnd{.kind = Kind::NotPlaced, .reason = ManagedPlacement::reasonOf(error, size)};
}

void ManagedPolicy::forget(const ItemPaths& paths) {
    ItemRecord(paths, std::nullopt).forget();
}

} // namespace Quenmark
