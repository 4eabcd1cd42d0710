#include "WebService/SlicedExchange.h"

#include "WebService/Common/Log.h"

#include <system_error>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto slice = 5ms;

/// How long an exchange waits until a busy outbox has been taken in. After that it goes on with what is known.
constexpr auto outboxPatience = 1s;

} // namespace

Response SlicedExchange::finish() {
    while (true) {
        if (auto response = step())
            return std::move(*response);
    }
}

std::optional<Response> SlicedExchange::step() {
    if (!begun_)
        begun_ = Clock::now();
    state_.requireCurrent();
    try {
        if (!outboxIsTakenIn_ && !takeInOutbox())
            return std::nullopt;
        return runSlice();
    } catch (const RequestError& error) {
        return errorFrom(error);
    }
}

Response SlicedExchange::errorFrom(const RequestError& error) {
    return errorResponse(error);
}

/// Has a transaction of its own: what has happened in the outbox counts, whatever becomes of the request.
bool SlicedExchange::takeInOutbox() {
    auto transaction = Transaction::ifUnlocked(state_.db);
    if (!transaction) {
        checkPatience();
        return false;
    }
    try {
        outboxIsTakenIn_ = state_.watcher.drainSome(slice) || Clock::now() - *begun_ >= outboxPatience;
    } catch (const std::system_error& error) {
        logLine(std::string("the outbox cannot be read: ") + error.what());
        outboxIsTakenIn_ = true;
    }
    transaction->commit();
    return outboxIsTakenIn_;
}

std::optional<Response> SlicedExchange::runSlice() {
    auto transaction = Transaction::ifUnlocked(state_.db);
    if (!transaction) {
        checkPatience();
        return std::nullopt;
    }
    lockedSince_.reset();
    if (!job_)
        job_.emplace(work());
    std::optional<Response> response;
    if (job_->run(slice))
        response = job_->take();
    transaction->commit();
    return response;
}

void SlicedExchange::checkPatience() {
    if (!lockedSince_)
        lockedSince_ = Clock::now();
    if (Clock::now() - *lockedSince_ >= state_.db.patience())
        throw DatabaseBusy("another process has the database locked");
}

} // namespace webservice
