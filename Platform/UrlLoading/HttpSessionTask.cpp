#include "Platform/UrlLoading/HttpSessionTask.h"

#include "Platform/UrlLoading/Challenge.h"

#include <algorithm>
#include <utility>

namespace Platform {

namespace {

HttpLoad::Settings settings(const HttpSession& session, UrlRequest request, std::optional<std::string> bodyFile) {
    const auto& configuration = session.configuration();
    const auto idleLimit = std::min(request.timeoutInterval, configuration.timeoutIntervalForRequest);
    return {std::move(request), configuration.httpAdditionalHeaders,      std::move(bodyFile),
            idleLimit,          configuration.timeoutIntervalForResource, session.delegateQueue()};
}

} // namespace

HttpSessionTask::HttpSessionTask(std::shared_ptr<HttpSession> session, UrlRequest request,
                                 std::unique_ptr<TaskReceiver> receiver, std::optional<std::string> bodyFile)
    : session_(std::move(session)), receiver_(std::move(receiver)), origin_(request.url ? request.url->origin() : "") {
    load_ = std::make_shared<HttpLoad>(settings(*session_, std::move(request), std::move(bodyFile)));
    session_->taskWasMade();
}

HttpSessionTask::~HttpSessionTask() {
    letGoOfSession();
}

void HttpSessionTask::begin() {
    if (!std::exchange(begun_, true))
        load_->begin(shared_from_this());
}

void HttpSessionTask::resume() {
    if (state_ != State::Suspended)
        return;
    state_ = State::Running;
    begin();
    load_->resume();
    if (!load_->hasStarted())
        session_->takePlace(shared_from_this());
}

void HttpSessionTask::suspend() {
    if (state_ != State::Running)
        return;
    state_ = State::Suspended;
    load_->suspend();
    if (!load_->hasStarted())
        session_->leavePlace(*this);
}

void HttpSessionTask::cancel() {
    if (state_ == State::Canceling || state_ == State::Completed)
        return;
    state_ = State::Canceling;
    begin();
    load_->fail(UrlError::make(UrlError::Cancelled));
}

void HttpSessionTask::loadDidReceiveHead(HttpUrlResponse head) {
    const auto delegate = session_->delegate();
    if (delegate && asksForAuthentication(head))
        challenge(delegate, std::move(head));
    else
        receiveHead(std::move(head));
}

void HttpSessionTask::challenge(const std::shared_ptr<UrlSessionDelegate>& delegate, HttpUrlResponse head) {
    // Nobody else waits for the answer, which may never come.
    load_->hold();
    leavePlace();
    challenging_ = std::move(head);
    delegate->URLSessionTaskDidReceiveChallenge(*session_, *this,
                                                [task = weak_from_this()](ChallengeDisposition disposition) {
                                                    if (const auto alive = task.lock())
                                                        alive->answerChallenge(disposition);
                                                });
}

void HttpSessionTask::answerChallenge(ChallengeDisposition disposition) {
    auto head = std::exchange(challenging_, std::nullopt);
    if (!head || state_ == State::Canceling || state_ == State::Completed)
        return;
    if (disposition == ChallengeDisposition::CancelChallenge)
        return cancel();
    receiveHead(std::move(*head));
    load_->proceed();
}

void HttpSessionTask::receiveHead(HttpUrlResponse head) {
    response_ = std::move(head);
    if (receiver_) {
        if (auto error = receiver_->receiveHead(*response_))
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
            task.letGoOfSession();
        }
    };
    state_ = State::Completed;
    challenging_.reset();
    leavePlace();
    const auto self = shared_from_this();
    const End end{*this};
    if (receiver_)
        receiver_->end(response_, error);
    else if (const auto delegate = session_->delegate())
        delegate->URLSessionTaskDidCompleteWithError(*session_, *this, error);
}

void HttpSessionTask::loadWasDropped() {
    const auto self = shared_from_this();
    receiver_.reset();
    letGoOfSession();
}

void HttpSessionTask::leavePlace() {
    if (!std::exchange(placeLeft_, true))
        session_->leavePlace(*this);
}

void HttpSessionTask::letGoOfSession() {
    if (const auto session = std::exchange(session_, nullptr))
        session->taskIsDone();
}

} // namespace Platform
