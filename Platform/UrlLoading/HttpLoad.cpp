#include "Platform/UrlLoading/HttpLoad.h"

#include "Platform/RunLoop.h"
#include "Platform/UrlLoading/TransferDriver.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace Platform {

namespace {

constexpr int maximumRedirects = 16;

Duration toDuration(std::chrono::duration<double> time) {
    // A limit that cannot be told from none is none.
    constexpr std::chrono::duration<double> longest = std::chrono::hours(24 * 365 * 100);
    if (!(time < longest))
        return Duration::max();
    return std::max(std::chrono::duration_cast<Duration>(std::max(time, -longest)), Duration::zero());
}

Duration later(Duration time, Duration by) {
    return by > Duration::max() - time ? Duration::max() : time + by;
}

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
            if (const auto client = load->leave())
                client->loadWasDropped();
        }
    }

    std::unordered_set<std::shared_ptr<HttpLoad>> loads;
};

HttpLoad::HttpLoad(Settings settings) : settings_(std::move(settings)) {}

HttpLoad::~HttpLoad() = default;

void HttpLoad::begin(std::shared_ptr<HttpLoadClient> client) {
    client_ = std::move(client);
    RunLoop::main().attachment<Running>().loads.insert(shared_from_this());
}

void HttpLoad::start() {
    if (std::exchange(started_, true) || ended_ || failure_)
        return;
    try {
        if (auto error = prepare())
            return fail(std::move(*error));
        transfer();
    } catch (...) {
        breakOff();
    }
}

std::optional<Error> HttpLoad::prepare() {
    url_ = settings_.request.url;
    if (auto error = unusable(url_))
        return error;
    auto head = RequestHead::of(settings_.request, settings_.additionalHeaders);
    if (auto* error = std::get_if<Error>(&head))
        return std::move(*error);
    head_ = std::move(std::get<RequestHead>(head));
    if (!settings_.bodyFile)
        return std::nullopt;
    bodyFile_ = openBodyFile(*settings_.bodyFile);
    return bodyFile_ ? std::nullopt : std::optional(UrlError::make(UrlError::FileDoesNotExist, *settings_.bodyFile));
}

void HttpLoad::transfer() {
    Transfer::Request request{*url_, head_, {}};
    if (sendsBody_ && bodyFile_)
        request.body = &*bodyFile_;
    else if (sendsBody_ && settings_.request.httpBody)
        request.body = std::string_view(*settings_.request.httpBody);
    try {
        transfer_ = std::make_unique<Transfer>(RunLoop::main().attachment<TransferDriver>(), request,
                                               [this] { transferChanged(); });
        transfer_->start();
    } catch (const std::exception& exception) {
        // There is no memory or no descriptor left.
        fail(UrlError::make(UrlError::CannotConnectToHost, exception.what()));
    }
}

void HttpLoad::transferChanged() {
    try {
        lookAtTransfer();
    } catch (...) {
        breakOff();
    }
}

void HttpLoad::lookAtTransfer() {
    if (transfer_->takeProgress())
        noteProgress();
    if (!answer_ && transfer_->head().state() == ResponseHead::State::Complete) {
        const int status = transfer_->head().statusCode();
        if (isRedirect(status) && transfer_->head().fields().has("Location"))
            return followRedirect(status);
        answer_ = takeAnswer();
    }
    scheduleDelivery();
}

HttpUrlResponse HttpLoad::takeAnswer() {
    ResponseHead& head = transfer_->head();
    return HttpUrlResponse{*url_, head.statusCode(), head.takeFields(), head.contentLength()};
}

void HttpLoad::followRedirect(int status) {
    const auto location = *transfer_->head().fields().value("Location");
    // An answer that is not complete goes with its connection: nobody waits for the body of a redirect.
    transfer_.reset();
    if (++redirects_ > maximumRedirects)
        return fail(UrlError::make(UrlError::TooManyRedirects, url_->absoluteString()));
    const auto absolute = Url::fromString(location);
    const auto next = absolute && !absolute->scheme().empty() ? absolute : resolve(*url_, location);
    if (auto error = unusable(next))
        return fail(std::move(*error));
    if (!head_.redirect(status, next->origin() != url_->origin()))
        sendsBody_ = false;
    url_ = next;
    transfer();
}

void HttpLoad::suspend() {
    if (suspended_)
        return;
    suspended_ = true;
    suspendedSince_ = RunLoop::main().now();
    timer_.cancel();
}

void HttpLoad::resume() {
    if (!std::exchange(suspended_, false))
        return;
    const Duration stoodStill = RunLoop::main().now() - suspendedSince_;
    if (begun_)
        *begun_ += stoodStill;
    lastProgress_ += stoodStill;
    armTimer();
    scheduleDelivery();
}

void HttpLoad::hold() {
    held_ = true;
    if (transfer_)
        transfer_->releaseSlot();
}

void HttpLoad::proceed() {
    held_ = false;
    scheduleDelivery();
}

void HttpLoad::fail(Error error) {
    if (ended_ || failure_)
        return;
    failure_ = std::move(error);
    transfer_.reset();
    // Where there is no memory to schedule it with, the timer tries again.
    scheduleDelivery();
    timer_.cancel();
}

/// Ends where there is no memory to go on.
void HttpLoad::breakOff() noexcept {
    try {
        fail(Error{UrlError::domain, UrlError::NetworkConnectionLost, "out of memory"});
    } catch (...) { // NOLINT(bugprone-empty-catch): the timer ends it
    }
}

void HttpLoad::drop() {
    const auto self = shared_from_this();
    if (!ended_)
        RunLoop::main().attachment<Running>().loads.erase(self);
    leave();
}

/// Lets go of all that a load has until its end, and hands out the client.
std::shared_ptr<HttpLoadClient> HttpLoad::leave() {
    ended_ = true;
    timer_.cancel();
    transfer_.reset();
    bodyFile_.reset();
    return std::exchange(client_, nullptr);
}

bool HttpLoad::hasNews() const {
    if (ended_ || failure_)
        return !ended_;
    if (suspended_ || held_ || !transfer_)
        return false;
    return (answer_ && !headDelivered_) || !transfer_->pieces().empty() || transfer_->outcome();
}

void HttpLoad::scheduleDelivery() {
    if (scheduled_ || delivering_ || !hasNews())
        return;
    settings_.queue.async([load = shared_from_this()] { load->deliver(); });
    scheduled_ = true;
}

/// One call of the client: what it leaves behind is in order however it ends.
class HttpLoad::Delivery {
public:
    explicit Delivery(HttpLoad& load) : load_(load) { load_.delivering_ = true; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery() {
        load_.delivering_ = false;
        try {
            goOn();
        } catch (...) {
            load_.breakOff();
        }
    }

    void makeCall() {
        const auto client = load_.client_;
        if (!std::exchange(load_.headDelivered_, true))
            return client->loadDidReceiveHead(std::move(*load_.answer_));
        piece_ = load_.transfer_->pieces().take();
        client->loadDidReceiveData(piece_.view());
    }

private:
    void goOn() {
        if (load_.transfer_ && !piece_.empty()) {
            // The memory goes back, unless the transfer needed new memory meanwhile.
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
    scheduled_ = false;
    if (!hasNews())
        return;
    if (failure_)
        return finish(std::exchange(failure_, std::nullopt));
    const bool more = (answer_ && !headDelivered_) || !transfer_->pieces().empty();
    if (!more)
        return finish(std::optional(transfer_->outcome()->error));
    Delivery(*this).makeCall();
}

void HttpLoad::finish(const std::optional<Error>& error) {
    const auto self = shared_from_this();
    RunLoop::main().attachment<Running>().loads.erase(self);
    if (const auto client = leave())
        client->loadDidEnd(error);
}

std::optional<Duration> HttpLoad::deadline() const {
    if (!begun_)
        return std::nullopt;
    const Duration whole = later(*begun_, toDuration(settings_.wholeLimit));
    const Duration first = std::min(whole, later(lastProgress_, toDuration(settings_.idleLimit)));
    return first == Duration::max() ? std::nullopt : std::optional(first);
}

/// Time runs from the moment on when the first transfer has its slot.
void HttpLoad::noteProgress() {
    lastProgress_ = RunLoop::main().now();
    if (begun_)
        return;
    begun_ = lastProgress_;
    suspendedSince_ = lastProgress_;
    armTimer();
}

/// One timer serves both limits, and progress does not move it: when it fires too early, it is set anew.
void HttpLoad::armTimer() {
    const auto end = deadline();
    if (!end || suspended_ || failure_)
        return;
    timer_ = Queue::main().timer(*end - RunLoop::main().now(), [this] { timerFired(); });
}

void HttpLoad::timerFired() {
    const auto end = deadline();
    if (failure_)
        scheduleDelivery();
    else if (end && *end <= RunLoop::main().now())
        fail(UrlError::make(UrlError::TimedOut, url_ ? url_->absoluteString() : ""));
    else
        armTimer();
}

} // namespace Platform
