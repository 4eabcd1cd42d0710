#include "WebService/SlicedExchange.h"

#include "WebService/Common/Log.h"

#include <system_error>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto slice = 5ms;

/// How long an exchange waits until all events of a busy outbox have been processed. After that it works with what is
/// recorded.
constexpr auto outboxTimeout = 1s;

} // namespace

Response SlicedExchange::finish() {
    while (true) {
        if (auto response = step())
            return std::move(*response);
    }
}

std::optional<Response> SlicedExchange::step() {
    if (!startTime_)
        startTime_ = Clock::now();
    state_.requireCurrent();
    try {
        if (!outboxIsProcessed_ && !processOutbox())
            return std::nullopt;
        return runSlice();
    } catch (const RequestError& error) {
        return errorFrom(error);
    }
}

Response SlicedExchange::errorFrom(const RequestError& error) {
    return errorResponse(error);
}

/// In a transaction of its own: what has happened in the outbox is kept even where the request fails.
bool SlicedExchange::processOutbox() {
    auto transaction = Transaction::ifUnlocked(state_.db);
    if (!transaction) {
        checkBusyTimeout();
        return false;
    }
    try {
        outboxIsProcessed_ = state_.watcher.processSlice(slice) || Clock::now() - *startTime_ >= outboxTimeout;
    } catch (const std::system_error& error) {
        logLine(std::string("the outbox cannot be read: ") + error.what());
        outboxIsProcessed_ = true;
    }
    transaction->commit();
    return outboxIsProcessed_;
}

std::optional<Response> SlicedExchange::runSlice() {
    auto transaction = Transaction::ifUnlocked(state_.db);
    if (!transaction) {
        checkBusyTimeout();
        return std::nullopt;
    }
    lockedSince_.reset();
    if (!job_)
        job_.emplace(work());
    std::optional<Response> response;
    if (job_->run(slice))
        response = job_->take();
    transaction->commit();
    while (job_->waitsForStorage()) {
        state_.group.store();
        if (job_->run(0ms))
            response = job_->take();
    }
    return response;
}

void SlicedExchange::checkBusyTimeout() {
    if (!lockedSince_)
        lockedSince_ = Clock::now();
    if (Clock::now() - *lockedSince_ >= state_.db.busyTimeout())
        throw DatabaseBusy("another process has the database locked");
}

} // namespace webservice
