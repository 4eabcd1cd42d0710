#include "Platform/UrlLoading/HttpLoad.h"

#include "Platform/Loop/RunLoop.h"
#include "Platform/UrlLoading/TransferDriver.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <unordered_set>
#include <utility>

namespace Platform {

namespace {

constexpr int maximumRedirects = 16;
constexpr Duration lateDelivery = std::chrono::seconds(5);

std::optional<BodyFile> openBodyFile(const std::string& path) {
    BodyFile body;
    struct stat status {};
    if (path.find('\0') == std::string::npos)
        body.file.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!body.file || ::fstat(body.file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    body.size = static_cast<std::uint64_t>(status.st_size);
    return body;
}

/// Why nothing can be loaded from `url`; nil when something can.
std::optional<Error> unusable(const std::optional<Url>& url) {
    const auto scheme = url ? url->scheme() : std::string();
    if (scheme.empty())
        return UrlError::make(UrlError::BadUrl, url ? url->absoluteString() : "no URL");
    if (scheme != "http" && scheme != "https")
        return UrlError::make(UrlError::UnsupportedUrl, url->absoluteString());
    if (!url->hasHost())
        return UrlError::make(UrlError::BadUrl, url->absoluteString() + " names no host");
    return std::nullopt;
}

} // namespace

/// The loads of a loop that have begun and not ended.
struct HttpLoad::Running {
    explicit Running(RunLoop&) {}
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() {
        for (const auto& load : std::exchange(loads, {})) {
            if (const auto client = load->detach())
                client->loadWasDropped();
        }
    }

    std::unordered_set<std::shared_ptr<HttpLoad>> loads;
};

HttpLoad::HttpLoad(Settings settings)
    : settings_(std::move(settings)), timeouts_(settings_.idleTimeout, settings_.totalTimeout, [this] { timedOut(); }) {
}

HttpLoad::~HttpLoad() = default;

/// The only place where the state changes.
void HttpLoad::enter(State next) {
    state_ = next;
    switch (next) {
    case State::Created:
    case State::Requesting:
    case State::Receiving:
        break;
    case State::Responded:
        response_ = takeResponse();
        break;
    case State::Held:
        transfer_->releaseSlot();
        break;
    case State::Failed:
        transfer_.reset();
        // Where there is no memory to schedule it with, `deliverLate_` or the timeouts try again.
        scheduleDelivery();
        timeouts_.stop();
        break;
    case State::Ended:
        timeouts_.stop();
        deliverLate_.cancel();
        transfer_.reset();
        bodyFile_.reset();
        break;
    }
}

void HttpLoad::begin(std::shared_ptr<HttpLoadClient> client) {
    // The client holds the load: it is held in turn only once nothing can fail any more.
    deliverLate_ = Queue::main().timer(lateDelivery, [this] { scheduleDelivery(); });
    RunLoop::main().attachment<Running>().loads.insert(shared_from_this());
    client_ = std::move(client);
}

void HttpLoad::start() {
    if (state_ != State::Created)
        return;
    enter(State::Requesting);
    try {
        if (auto error = prepare())
            return fail(std::move(*error));
        transfer();
    } catch (...) {
        failOutOfMemory();
    }
}

std::optional<Error> HttpLoad::prepare() {
    url_ = settings_.request.url;
    if (auto error = unusable(url_))
        return error;
    auto headers = RequestHeaders::of(settings_.request, settings_.additionalHeaders);
    if (auto* error = std::get_if<Error>(&headers))
        return std::move(*error);
    headers_ = std::move(std::get<RequestHeaders>(headers));
    if (settings_.bodyFile) {
        bodyFile_ = openBodyFile(*settings_.bodyFile);
        if (!bodyFile_)
            return UrlError::make(UrlError::FileDoesNotExist, *settings_.bodyFile);
        body_ = &*bodyFile_;
    } else if (settings_.request.httpBody) {
        body_ = std::string_view(*settings_.request.httpBody);
    }
    return std::nullopt;
}

void HttpLoad::transfer() {
    try {
        transfer_ =
            std::make_unique<Transfer>(RunLoop::main().attachment<TransferDriver>(),
                                       Transfer::Request{*url_, headers_, body_}, [this] { transferChanged(); });
        transfer_->start();
    } catch (const std::exception& exception) {
        // There is no memory or no descriptor left.
        fail(UrlError::make(UrlError::CannotConnectToHost, exception.what()));
    }
}

void HttpLoad::transferChanged() noexcept {
    try {
        readTransfer();
    } catch (...) {
        failOutOfMemory();
    }
}

void HttpLoad::readTransfer() {
    if (transfer_->takeProgress())
        timeouts_.noteProgress();
    if (state_ == State::Requesting && transfer_->headers().state() == ResponseHeaders::State::Complete) {
        const int status = transfer_->headers().statusCode();
        if (isRedirect(status) && transfer_->headers().fields().has("Location"))
            return followRedirect(status);
        enter(State::Responded);
    }
    scheduleDelivery();
}

HttpUrlResponse HttpLoad::takeResponse() {
    ResponseHeaders& headers = transfer_->headers();
    return HttpUrlResponse{*url_, headers.statusCode(), headers.takeFields(), headers.contentLength()};
}

void HttpLoad::followRedirect(int status) {
    const auto location = *transfer_->headers().fields().value("Location");
    // The rest of the response is not read, so its connection is closed.
    transfer_.reset();
    if (++redirects_ > maximumRedirects)
        return fail(UrlError::make(UrlError::TooManyRedirects, url_->absoluteString()));
    const auto next = url_->resolve(location);
    if (auto error = unusable(next))
        return fail(std::move(*error));
    if (settings_.request.url->scheme() == "https" && next->scheme() == "http")
        return fail(UrlError::make(UrlError::UnsupportedUrl, next->absoluteString() + " is not secure"));
    if (!headers_.redirect(status, next->origin() != url_->origin()))
        body_ = {};
    url_ = next;
    transfer();
}

void HttpLoad::suspend() {
    if (!timeouts_.areSuspended())
        timeouts_.suspend();
}

void HttpLoad::resume() {
    if (!timeouts_.areSuspended())
        return;
    timeouts_.resume();
    scheduleDelivery();
}

void HttpLoad::hold() {
    if (state_ == State::Receiving)
        enter(State::Held);
}

void HttpLoad::proceed() {
    if (state_ != State::Held)
        return;
    enter(State::Receiving);
    scheduleDelivery();
}

void HttpLoad::fail(Error error) {
    if (state_ == State::Failed || state_ == State::Ended)
        return;
    failure_ = std::move(error);
    enter(State::Failed);
}

void HttpLoad::failOutOfMemory() noexcept {
    try {
        fail(Error{UrlError::domain, UrlError::NetworkConnectionLost, "out of memory"});
    } catch (...) { // NOLINT(bugprone-empty-catch): a timer delivers it
    }
}

void HttpLoad::drop() {
    const auto self = shared_from_this();
    if (state_ != State::Ended)
        RunLoop::main().attachment<Running>().loads.erase(self);
    detach();
}

/// Frees all that a load has until its end, and returns the client.
std::shared_ptr<HttpLoadClient> HttpLoad::detach() {
    enter(State::Ended);
    return std::exchange(client_, nullptr);
}

bool HttpLoad::hasPendingEvents() const {
    switch (state_) {
    case State::Failed:
        return true;
    case State::Responded:
        return !timeouts_.areSuspended();
    case State::Requesting:
    case State::Receiving:
        return !timeouts_.areSuspended() && transfer_ && (!transfer_->pieces().empty() || transfer_->outcome());
    case State::Created:
    case State::Held:
    case State::Ended:
        break;
    }
    return false;
}

void HttpLoad::scheduleDelivery() {
    if (delivery_ != Delivery::None || !hasPendingEvents())
        return;
    settings_.queue.async([load = shared_from_this()] { load->deliver(); });
    delivery_ = Delivery::Scheduled;
}

/// One call of the client. Whether it returns or throws, the load goes on afterwards.
class HttpLoad::ClientCall {
public:
    explicit ClientCall(HttpLoad& load) : load_(load) { load_.delivery_ = Delivery::Calling; }
    ClientCall(const ClientCall&) = delete;
    ClientCall& operator=(const ClientCall&) = delete;
    ~ClientCall() {
        load_.delivery_ = Delivery::None;
        try {
            continueLoad();
        } catch (...) {
            load_.failOutOfMemory();
        }
    }

    void deliverResponse() {
        load_.enter(State::Receiving);
        const auto client = load_.client_;
        client->loadDidReceiveResponse(*std::exchange(load_.response_, std::nullopt));
    }

    void deliverData() {
        piece_ = load_.transfer_->pieces().take();
        const auto client = load_.client_;
        client->loadDidReceiveData(piece_.view());
    }

private:
    void continueLoad() {
        if (load_.transfer_ && !piece_.empty()) {
            // The memory is used again, unless the transfer has taken new memory meanwhile.
            piece_.clear();
            if (load_.transfer_->pieces().empty())
                load_.transfer_->pieces() = std::move(piece_);
            load_.transfer_->continueReading();
        }
        load_.scheduleDelivery();
    }

    HttpLoad& load_;
    PieceBuffer piece_;
};

void HttpLoad::deliver() {
    delivery_ = Delivery::None;
    if (!hasPendingEvents())
        return;
    if (state_ == State::Failed)
        end(std::exchange(failure_, std::nullopt));
    else if (state_ == State::Responded)
        ClientCall(*this).deliverResponse();
    else if (!transfer_->pieces().empty())
        ClientCall(*this).deliverData();
    else
        end(std::optional(transfer_->outcome()->error));
}

void HttpLoad::end(const std::optional<Error>& error) {
    const auto self = shared_from_this();
    RunLoop::main().attachment<Running>().loads.erase(self);
    if (const auto client = detach())
        client->loadDidEnd(error);
}

void HttpLoad::timedOut() {
    if (state_ == State::Failed)
        scheduleDelivery();
    else
        fail(UrlError::make(UrlError::TimedOut, url_ ? url_->absoluteString() : ""));
}

} // namespace Platform
