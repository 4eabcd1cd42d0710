#include "TopFileUploadXpcService/EngineStatus.h"

#include "Platform/Loop/RunLoop.h"
#include "TopFileUploadXpcService/ServiceStatus.h"

#include <algorithm>
#include <utility>

namespace Quenmark {

using Kind = AttemptEnd::Kind;
using State = EngineState;

namespace {

/// The name as far as it is kept: whole characters of UTF-8.
std::string cut(const std::string& name) {
    std::size_t size = EngineStatus::longestName;
    if (name.size() <= size)
        return name;
    constexpr int continuation = 0x80;
    constexpr int kindBits = 0xC0;
    while (size > 0 && (name[size] & kindBits) == continuation)
        --size;
    return name.substr(0, size);
}

} // namespace

EngineStatus::EngineStatus(std::shared_ptr<ServiceStatus> service, std::uint64_t id, std::string peer)
    : service_(std::move(service)), entry_{.id = id, .peer = std::move(peer), .since = service_->time()} {}

EngineStatus::~EngineStatus() {
    service_->remove(entry_.id);
}

EngineEntry EngineStatus::entry() const {
    EngineEntry entry = entry_;
    auto now = shown();
    if (now.state == State::Polling)
        entry.since = slowPoll()->sentTime + std::chrono::microseconds(pollPatience).count();
    entry.state = now.state;
    entry.reason = std::move(now.reason);
    entry.item = std::move(now.item);
    entry.bytes = now.bytes;
    entry.total = now.total;
    return entry;
}

template <class Step>
void EngineStatus::change(const Step& step) {
    const auto before = shown();
    step();
    const auto after = shown();
    if (after == before)
        return;
    if (after.state != before.state)
        entry_.since = service_->time();
    service_->changed();
}

EngineStatus::Shown EngineStatus::shown() const {
    const auto atWork = std::ranges::find_if(attempts_, [](const Attempt& a) { return a.step != State::Polling; });
    if (atWork != attempts_.end())
        return {atWork->step, "", atWork->item, atWork->bytes, atWork->total};
    if (slowPoll() != nullptr)
        return {State::Polling};
    // A later call has started a poll, which is in flight.
    if (rest_.state == State::Stalled && !attempts_.empty())
        return {State::Idle, downloadFailure_};
    return rest_;
}

const EngineStatus::Attempt* EngineStatus::slowPoll() const {
    if (attempts_.empty())
        return nullptr;
    const auto now = Platform::RunLoop::main().now();
    const auto poll = std::ranges::find_if(attempts_, [&](const Attempt& a) { return now - a.sent >= pollPatience; });
    return poll != attempts_.end() ? &*poll : nullptr;
}

EngineStatus::Attempt* EngineStatus::find(AttemptNumber number) {
    const auto attempt = std::ranges::find(attempts_, number, &Attempt::number);
    return attempt != attempts_.end() ? &*attempt : nullptr;
}

void EngineStatus::started() {
    change([&] {
        if (rest_.state == State::Created || rest_.state == State::Stalled)
            rest_ = {State::Idle, downloadFailure_};
    });
}

void EngineStatus::foundGateClosed() {
    change([&] {
        if (rest_.state == State::Unconfigured && attempts_.empty())
            rest_ = {State::Stalled, stall_};
    });
}

void EngineStatus::pollSent(AttemptNumber number) {
    change([&] {
        attempts_.push_back({.number = number, .sent = Platform::RunLoop::main().now(), .sentTime = service_->time()});
    });
}

void EngineStatus::responded() {
    entry_.lastResponse = service_->time();
}

void EngineStatus::offered(AttemptNumber number, const std::string& item) {
    auto* attempt = find(number);
    if (attempt == nullptr)
        return;
    attempt->hasItem = true;
    attempt->item = cut(item);
    attempt->fetched = service_->takeFetched(attempt->item);
}

void EngineStatus::downloadBegan(AttemptNumber number, std::uint64_t offset) {
    auto* attempt = find(number);
    if (attempt == nullptr)
        return;
    change([&] {
        attempt->step = State::Downloading;
        attempt->bytes = offset;
        // Bytes beyond the offset were discarded and are fetched again.
        attempt->fetched = std::min(attempt->fetched, offset);
    });
}

void EngineStatus::foundComplete(AttemptNumber number, std::uint64_t size) {
    auto* attempt = find(number);
    if (attempt == nullptr)
        return;
    attempt->bytes = size;
    attempt->total = size;
    attempt->fetched = std::min(attempt->fetched, size);
}

void EngineStatus::totalKnown(AttemptNumber number, std::uint64_t total) {
    if (auto* attempt = find(number))
        change([&] { attempt->total = total; });
}

void EngineStatus::wrote(AttemptNumber number, std::uint64_t bytes) {
    if (auto* attempt = find(number))
        change([&] {
            attempt->bytes += bytes;
            attempt->fetched += bytes;
        });
    responded();
}

void EngineStatus::enter(AttemptNumber number, EngineState step) {
    if (auto* attempt = find(number))
        change([&] { attempt->step = step; });
}

void EngineStatus::ended(AttemptNumber number, const AttemptEnd& end, bool isFirst, bool isGateOpen) {
    if (!isFirst && service_->isManaged())
        return;
    change([&] {
        const auto* found = find(number);
        const auto attempt = found != nullptr ? *found : Attempt{};
        std::erase_if(attempts_, [&](const Attempt& a) { return a.number == number; });
        if (end.kind != Kind::Acknowledged)
            service_->keepFetched(attempt.item, attempt.fetched);
        rest_ = restAfter(attempt, end, isGateOpen);
    });
}

EngineStatus::Shown EngineStatus::restAfter(const Attempt& attempt, const AttemptEnd& end, bool isGateOpen) {
    switch (end.kind) {
    case Kind::Acknowledged:
        downloadFailure_.clear();
        arrived(attempt, end.reason);
        [[fallthrough]];
    case Kind::NoItem:
        return {State::Idle, downloadFailure_};
    case Kind::NoNetwork:
        return {State::Offline, reasonOf(end)};
    case Kind::NotConfigured:
        return {State::Unconfigured, reasonOf(end)};
    default:
        break;
    }
    if (attempt.hasItem)
        downloadFailure_ = reasonOf(end);
    if (!isGateOpen)
        stall_ = reasonOf(end);
    return restAfterFailure(attempt, end, isGateOpen);
}

EngineStatus::Shown EngineStatus::restAfterFailure(const Attempt& attempt, const AttemptEnd& end,
                                                   bool isGateOpen) const {
    Shown rest{State::Retrying, reasonOf(end), attempt.item, attempt.bytes, attempt.total};
    if (service_->isManaged()) {
        if (end.kind == Kind::NotPlaced || end.kind == Kind::NotWritten)
            rest.state = State::Blocked;
        return rest;
    }
    if (!isGateOpen) {
        rest.state = State::Stalled;
        return rest;
    }
    // A malformed response is still a response.
    const bool gotNoResponse = end.kind == Kind::PollFailed && end.reason.empty();
    return {gotNoResponse ? State::Offline : State::Idle, rest.reason};
}

void EngineStatus::arrived(const Attempt& attempt, const std::string& placementError) {
    if (!placementError.empty()) {
        ++entry_.itemsLost;
        entry_.lastLostItem = attempt.item;
        entry_.lastLostReason = placementError;
    } else {
        entry_.lastItem = attempt.item;
        entry_.lastItemTime = service_->time();
        service_->received(attempt.fetched);
    }
}

} // namespace Quenmark
