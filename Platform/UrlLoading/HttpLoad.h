#pragma once

#include "Platform/Error.h"
#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/LoadTimeouts.h"
#include "Platform/UrlLoading/Transfer.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

class HttpLoad;

/// Receives a load's events, each as a task of its own on the load's queue, in order. The load may be suspended, held
/// or ended during a call.
class HttpLoadClient {
public:
    virtual ~HttpLoadClient() = default;
    /// The response's status and headers; not called for a redirect that is followed.
    virtual void loadDidReceiveResponse(HttpUrlResponse response) = 0;
    /// The next bytes of the body, at most `maximumDataPiece`; valid during the call.
    virtual void loadDidReceiveData(std::string_view data) = 0;
    /// The last call; not made for a load whose loop has ended.
    virtual void loadDidEnd(const std::optional<Error>& error) = 0;
    /// The loop ends before the load does; called instead of `loadDidEnd`, and not as a task.
    virtual void loadWasDropped() {}
};

/// One request from its start to its end, with redirects, timeouts and back-pressure; the base of both interfaces of
/// URL loading. From `begin` until its end it is kept alive, and keeps its client.
class HttpLoad : public std::enable_shared_from_this<HttpLoad> {
public:
    struct Settings {
        UrlRequest request;
        HeaderFields additionalHeaders;
        /// The path of a file that is sent as the body instead of the request's own.
        std::optional<std::string> bodyFile;
        /// The longest time without progress, and of the whole load. Both start when the load gets a slot.
        std::chrono::duration<double> idleTimeout;
        std::chrono::duration<double> totalTimeout;
        Queue queue;
    };

    explicit HttpLoad(Settings settings);
    HttpLoad(const HttpLoad&) = delete;
    HttpLoad& operator=(const HttpLoad&) = delete;
    ~HttpLoad();

    const UrlRequest& request() const { return settings_.request; }

    /// To be called first, once.
    void begin(std::shared_ptr<HttpLoadClient> client);
    /// Sends the request; once.
    void start();
    bool hasStarted() const { return state_ != State::Created; }
    /// How far the request has come, while there is no response; where redirects were followed, the last one.
    LoadStage stage() const { return transfer_ ? transfer_->stage() : LoadStage::Waiting; }
    /// How many bytes of the body were sent; 0 while nothing is in flight.
    std::uint64_t bytesSent() const { return transfer_ ? transfer_->bytesSent() : 0; }
    /// Holds every event back, and stops the timeouts, until `resume`.
    void suspend();
    void resume();
    /// To be called during `loadDidReceiveResponse`: holds the body back until `proceed`, and releases the load's slot.
    /// The timeouts go on.
    void hold();
    void proceed();
    /// Ends with this error; events that were not delivered are dropped. No effect on a load that has ended.
    void fail(Error error);
    /// Ends at once, without another call.
    void drop();

private:
    struct Running;
    class ClientCall;
    enum class State {
        /// Not started.
        Created,
        /// The request is sent, and sent again at each redirect that is followed.
        Requesting,
        /// The response's headers are to be delivered.
        Responded,
        /// The headers were delivered; the body is delivered as it is received.
        Receiving,
        /// The headers were delivered; the body is held back.
        Held,
        /// An error that is not the transfer's is to be delivered, and nothing else.
        Failed,
        /// The last event was delivered or dropped.
        Ended,
    };
    enum class Delivery {
        /// No event is to be delivered.
        None,
        /// A task on the load's queue will deliver the next event.
        Scheduled,
        /// The client is being called.
        Calling,
    };

    void enter(State next);
    std::optional<Error> prepare();
    void transfer();
    void transferChanged() noexcept;
    void readTransfer();
    void failOutOfMemory() noexcept;
    void followRedirect(int status);
    HttpUrlResponse takeResponse();

    bool hasPendingEvents() const;
    void scheduleDelivery();
    void deliver();
    void end(const std::optional<Error>& error);
    std::shared_ptr<HttpLoadClient> detach();

    void timedOut();

    Settings settings_;
    State state_ = State::Created;
    Delivery delivery_ = Delivery::None;
    /// Nil before `begin` and after the end.
    std::shared_ptr<HttpLoadClient> client_;

    /// What is sent, redirects heeded.
    std::optional<Url> url_;
    RequestHeaders headers_;
    Transfer::RequestBody body_;
    std::optional<BodyFile> bodyFile_;
    int redirects_ = 0;

    /// Nil unless a request is under way or its response is being delivered.
    std::unique_ptr<Transfer> transfer_;
    /// Set in the state `Responded`.
    std::optional<HttpUrlResponse> response_;
    /// Set in the state `Failed`.
    std::optional<Error> failure_;

    LoadTimeouts timeouts_;
    /// Delivers a failure for whose delivery there was no memory. It is made before the load starts, and so has its
    /// own.
    Timer deliverLate_;
};

} // namespace Platform
