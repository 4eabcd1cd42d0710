#pragma once

#include "Platform/Error.h"
#include "Platform/Queue.h"
#include "Platform/UrlLoading/Transfer.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

class HttpLoad;

/// Is told what becomes of a load, each call as a task of its own on the load's queue, in order. The load may be
/// suspended, held or ended from within a call.
class HttpLoadClient {
public:
    virtual ~HttpLoadClient() = default;
    /// The head of the answer, redirects left out.
    virtual void loadDidReceiveHead(HttpUrlResponse head) = 0;
    /// The next bytes, at most `maximumDataPiece`; valid during the call.
    virtual void loadDidReceiveData(std::string_view data) = 0;
    /// The last call; not made for a load whose loop has ended.
    virtual void loadDidEnd(const std::optional<Error>& error) = 0;
    /// The loop ends before the load does: instead of `loadDidEnd`, and without a word to anybody.
    virtual void loadWasDropped() {}
};

/// What every interface of URL loading is built on: one request from its beginning to its end, with redirects, limits
/// of time and back-pressure. From `begin` on until its end it is kept alive, and keeps its client.
class HttpLoad : public std::enable_shared_from_this<HttpLoad> {
public:
    struct Settings {
        UrlRequest request;
        HeaderFields additionalHeaders;
        /// The path of a file that is sent as the body, in place of the request's own.
        std::optional<std::string> bodyFile;
        /// The longest time without progress, and of the whole load. Neither runs before the load has a slot.
        std::chrono::duration<double> idleLimit;
        std::chrono::duration<double> wholeLimit;
        Queue queue;
    };

    explicit HttpLoad(Settings settings);
    HttpLoad(const HttpLoad&) = delete;
    HttpLoad& operator=(const HttpLoad&) = delete;
    ~HttpLoad();

    const UrlRequest& request() const { return settings_.request; }

    /// To be called first, once.
    void begin(std::shared_ptr<HttpLoadClient> client);
    /// Goes to the network, once.
    void start();
    bool hasStarted() const { return started_; }
    /// Keeps everything back, and stops the time, until `resume`.
    void suspend();
    void resume();
    /// Keeps everything back until `proceed`, while time goes on. Others may have its slot meanwhile.
    void hold();
    void proceed();
    /// Ends with this error; what was not handed on is dropped. No effect on a load that has ended.
    void fail(Error error);
    /// Ends at once, without another call.
    void drop();

private:
    struct Running;
    class Delivery;

    std::optional<Error> prepare();
    void transfer();
    void transferChanged();
    void lookAtTransfer();
    void noteProgress();
    void breakOff() noexcept;
    void followRedirect(int status);
    HttpUrlResponse takeAnswer();

    bool hasNews() const;
    void scheduleDelivery();
    void deliver();
    void finish(const std::optional<Error>& error);
    std::shared_ptr<HttpLoadClient> leave();

    std::optional<Duration> deadline() const;
    void armTimer();
    void timerFired();

    Settings settings_;
    std::shared_ptr<HttpLoadClient> client_;
    bool ended_ = false;

    std::optional<Url> url_;
    RequestHead head_;
    std::optional<BodyFile> bodyFile_;
    bool sendsBody_ = true;
    int redirects_ = 0;
    std::unique_ptr<Transfer> transfer_;

    bool started_ = false;
    bool suspended_ = false;
    bool held_ = false;
    bool scheduled_ = false;
    bool delivering_ = false;
    bool headDelivered_ = false;
    /// The head of the answer, which the client gets.
    std::optional<HttpUrlResponse> answer_;
    /// An end that the transfer did not bring: everything else is dropped for it.
    std::optional<Error> failure_;

    /// When time began to run; nil while the load waits for a slot.
    std::optional<Duration> begun_;
    Duration lastProgress_{};
    Duration suspendedSince_{};
    Timer timer_;
};

} // namespace Platform
