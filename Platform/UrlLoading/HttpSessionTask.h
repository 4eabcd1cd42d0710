#pragma once

#include "Platform/UrlLoading/HttpLoad.h"
#include "Platform/UrlLoading/HttpSession.h"
#include "Platform/UrlLoading/TaskReceiver.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// A task of an `HttpSession`: turns the events of a load into calls of the delegate or of the completion handler.
class HttpSessionTask final : public UrlSessionTask,
                              public HttpLoadClient,
                              public std::enable_shared_from_this<HttpSessionTask> {
public:
    /// Without a receiver the response is delivered to the session's delegate.
    HttpSessionTask(std::shared_ptr<HttpSession> session, UrlRequest request, std::unique_ptr<TaskReceiver> receiver,
                    std::optional<std::string> bodyFile);
    HttpSessionTask(const HttpSessionTask&) = delete;
    HttpSessionTask& operator=(const HttpSessionTask&) = delete;
    ~HttpSessionTask() override;

    void resume() override;
    void suspend() override;
    void cancel() override;
    State state() const override;
    const UrlRequest& originalRequest() const override { return load_->request(); }
    const HttpUrlResponse* response() const override { return response_ ? &*response_ : nullptr; }
    std::uint64_t countOfBytesSent() const override { return load_->bytesSent(); }
    void setTaskDescription(std::string description) override { description_ = std::move(description); }
    const std::string& taskDescription() const override { return description_; }

    /// The origin that the request goes to, whose slot the task needs.
    const std::string& origin() const { return origin_; }
    void start() { load_->start(); }
    bool hasStarted() const { return load_->hasStarted(); }

    void loadDidReceiveResponse(HttpUrlResponse response) override;
    void loadDidReceiveData(std::string_view data) override;
    void loadDidEnd(const std::optional<Error>& error) override;
    void loadWasDropped() override;

private:
    enum class Phase {
        /// Neither resumed nor cancelled; the load has no client yet.
        Created,
        /// Waits for a slot or loads, its challenge included.
        Running,
        /// Suspended by its owner.
        Suspended,
        /// Cancelled; the load's end is still to be received.
        Canceling,
        /// The load has ended.
        Completed,
    };

    void enter(Phase next);
    void challenge(const std::shared_ptr<UrlSessionDelegate>& delegate, HttpUrlResponse response);
    void resolveChallenge(ChallengeDisposition disposition);
    void receiveResponse(HttpUrlResponse response);
    void detachFromSession();

    /// Nil once the task is done.
    std::shared_ptr<HttpSession> session_;
    std::shared_ptr<HttpLoad> load_;
    std::unique_ptr<TaskReceiver> receiver_;
    std::string origin_;
    std::string description_;
    Phase phase_ = Phase::Created;
    std::optional<HttpUrlResponse> response_;
    /// The response whose challenge the delegate has not resolved yet.
    std::optional<HttpUrlResponse> challenging_;
};

} // namespace Platform
