#include "Platform/UrlLoading/HttpSessionTask.h"

#include "Platform/UrlLoading/Challenge.h"

#include <algorithm>
#include <utility>

namespace Platform {

namespace {

HttpLoad::Settings settings(const HttpSession& session, UrlRequest request, std::optional<std::string> bodyFile) {
    const auto& configuration = session.configuration();
    const auto idleTimeout = std::min(request.timeoutInterval, configuration.timeoutIntervalForRequest);
    return {std::move(request), configuration.httpAdditionalHeaders,      std::move(bodyFile),
            idleTimeout,        configuration.timeoutIntervalForResource, session.delegateQueue()};
}

} // namespace

HttpSessionTask::HttpSessionTask(std::shared_ptr<HttpSession> session, UrlRequest request,
                                 std::unique_ptr<TaskReceiver> receiver, std::optional<std::string> bodyFile)
    : session_(std::move(session)), receiver_(std::move(receiver)), origin_(request.url ? request.url->origin() : "") {
    load_ = std::make_shared<HttpLoad>(settings(*session_, std::move(request), std::move(bodyFile)));
    session_->taskWasMade();
}

HttpSessionTask::~HttpSessionTask() {
    detachFromSession();
}

UrlSessionTask::State HttpSessionTask::state() const {
    switch (phase_) {
    case Phase::Running:
        return State::Running;
    case Phase::Created:
    case Phase::Suspended:
        break;
    case Phase::Canceling:
        return State::Canceling;
    case Phase::Completed:
        return State::Completed;
    }
    return State::Suspended;
}

void HttpSessionTask::enter(Phase next) {
    if (phase_ == Phase::Created)
        load_->begin(shared_from_this());
    phase_ = next;
}

void HttpSessionTask::resume() {
    if (phase_ != Phase::Created && phase_ != Phase::Suspended)
        return;
    enter(Phase::Running);
    load_->resume();
    if (!load_->hasStarted())
        session_->acquireSlot(*this);
}

void HttpSessionTask::suspend() {
    if (phase_ != Phase::Running)
        return;
    enter(Phase::Suspended);
    load_->suspend();
    if (!load_->hasStarted())
        session_->releaseSlot(*this);
}

void HttpSessionTask::cancel() {
    if (phase_ == Phase::Canceling || phase_ == Phase::Completed)
        return;
    enter(Phase::Canceling);
    load_->fail(UrlError::make(UrlError::Cancelled));
}

void HttpSessionTask::loadDidReceiveResponse(HttpUrlResponse response) {
    const auto delegate = session_->delegate();
    if (delegate && asksForAuthentication(response))
        challenge(delegate, std::move(response));
    else
        receiveResponse(std::move(response));
}

void HttpSessionTask::challenge(const std::shared_ptr<UrlSessionDelegate>& delegate, HttpUrlResponse response) {
    // The handler may never be called; no other task waits for that.
    load_->hold();
    session_->releaseSlot(*this);
    challenging_ = std::move(response);
    delegate->URLSessionTaskDidReceiveChallenge(*session_, *this,
                                                [task = weak_from_this()](ChallengeDisposition disposition) {
                                                    if (const auto alive = task.lock())
                                                        alive->resolveChallenge(disposition);
                                                });
}

void HttpSessionTask::resolveChallenge(ChallengeDisposition disposition) {
    auto response = std::exchange(challenging_, std::nullopt);
    if (!response || phase_ == Phase::Canceling || phase_ == Phase::Completed)
        return;
    if (disposition == ChallengeDisposition::CancelChallenge)
        return cancel();
    receiveResponse(std::move(*response));
    load_->proceed();
}

void HttpSessionTask::receiveResponse(HttpUrlResponse response) {
    response_ = std::move(response);
    if (receiver_) {
        if (auto error = receiver_->receiveResponse(*response_))
            load_->fail(std::move(*error));
    }
}

void HttpSessionTask::loadDidReceiveData(std::string_view data) {
    if (!receiver_) {
        if (const auto delegate = session_->delegate())
            delegate->URLSessionDataTaskDidReceiveData(*session_, *this, data);
    } else if (auto error = receiver_->receive(data)) {
        load_->fail(std::move(*error));
    }
}

void HttpSessionTask::loadDidEnd(const std::optional<Error>& error) {
    // The task is done when this function is left, be it by an exception of the handler.
    struct End {
        HttpSessionTask& task;
        ~End() {
            task.receiver_.reset();
            task.detachFromSession();
        }
    };
    enter(Phase::Completed);
    challenging_.reset();
    session_->releaseSlot(*this);
    const auto self = shared_from_this();
    const End end{*this};
    if (receiver_)
        receiver_->end(response_, error);
    else if (const auto delegate = session_->delegate())
        delegate->URLSessionTaskDidCompleteWithError(*session_, *this, error);
}

void HttpSessionTask::loadWasDropped() {
    const auto self = shared_from_this();
    enter(Phase::Completed);
    session_->dropSlot(*this);
    receiver_.reset();
    detachFromSession();
}

void HttpSessionTask::detachFromSession() {
    if (const auto session = std::exchange(session_, nullptr))
        session->taskIsDone();
}

} // namespace Platform
