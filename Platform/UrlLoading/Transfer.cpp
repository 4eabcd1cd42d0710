#include "Platform/UrlLoading/Transfer.h"

#include "Platform/UrlLoading/TransferDriver.h"
#include "Platform/UrlLoading/TransportError.h"

#include <fcntl.h>

#include <system_error>
#include <utility>

namespace Platform {

namespace {

/// Shorter bodies are left to libcurl.
constexpr std::uint64_t minimumDirectReadSize = 256 << 10;

/// Takes no memory itself: its texts are short enough to be held in place.
Error outOfMemory() noexcept {
    return Error{UrlError::domain, UrlError::NetworkConnectionLost, "out of memory"};
}

} // namespace

Transfer::Transfer(TransferDriver& driver, const Request& request, std::function<void()> changed)
    : driver_(&driver), request_(request), changed_(std::move(changed)) {
    driver.add(*this);
}

Transfer::~Transfer() {
    releaseHandle();
    if (driver_ != nullptr)
        driver_->remove(*this);
}

/// The only place where the state changes.
void Transfer::enter(State next) noexcept {
    state_ = next;
    if (next == State::ReceivingDirectly || next == State::Ended)
        releaseHandle();
    if (next == State::Aborted || next == State::TakingOver || next == State::Resuming || next == State::Ended)
        driver_->addChanged(*this);
}

void Transfer::start() {
    makeHandle();
    enter(State::Requesting);
    driver_->start(*this);
}

void Transfer::releaseSlot() noexcept {
    if (driver_ != nullptr)
        driver_->releaseSlot(*this);
}

void Transfer::progressed() noexcept {
    progress_ = true;
    driver_->addChanged(*this);
}

/// The first reason counts: libcurl may go on for a moment, and fail because of it.
void Transfer::abort(AbortReason reason) noexcept {
    if (state_ == State::Aborted || state_ == State::Ended)
        return;
    abortReason_ = reason;
    enter(State::Aborted);
}

/// Makes the request anew, on a new connection; nothing of it was sent.
bool Transfer::startAgain() noexcept {
    releaseHandle();
    abortReason_ = AbortReason::None;
    needsNewConnection_ = true;
    fileOffset_ = 0;
    errorText_ = {};
    try {
        makeHandle();
        enter(State::Requesting);
        driver_->startLater(*this);
    } catch (...) {
        abortReason_ = AbortReason::NoMemory;
        return false;
    }
    return true;
}

bool Transfer::sendsBody() const {
    const std::string& method = request_.headers.method;
    // A method that is about its body says so with a length even where there is none (RFC 9110, section 8.6).
    return method != "HEAD" && (!std::holds_alternative<std::monostate>(request_.body) || method == "POST" ||
                                method == "PUT" || method == "PATCH");
}

std::uint64_t Transfer::bodySize() const {
    if (const auto* bytes = std::get_if<std::string_view>(&request_.body))
        return bytes->size();
    const auto* file = std::get_if<const BodyFile*>(&request_.body);
    return file != nullptr ? (*file)->size : 0;
}

std::optional<Error> Transfer::abortError() const {
    switch (abortReason_) {
    case AbortReason::None:
    case AbortReason::StaleConnection: // Retried on a new connection, which cannot be stale.
        break;
    case AbortReason::MalformedHeaders:
        return UrlError::make(UrlError::BadServerResponse, "the headers are malformed or too long");
    case AbortReason::UnreadableFile:
        return UrlError::make(UrlError::Unknown, "the file to send became shorter or unreadable");
    case AbortReason::NoMemory:
        return UrlError::make(UrlError::NetworkConnectionLost, "there is no memory left for it");
    case AbortReason::CannotWatch:
        return UrlError::make(UrlError::NetworkConnectionLost, "its socket cannot be watched");
    case AbortReason::SentBefore:
        return UrlError::make(UrlError::NetworkConnectionLost, "the connection ended after the request was sent on it");
    }
    return std::nullopt;
}

std::optional<Error> Transfer::errorOf(int result) const {
    if (auto error = abortError())
        return error;
    const auto code = static_cast<CURLcode>(result);
    const bool headersComplete = headers_.state() == ResponseHeaders::State::Complete;
    if (code != CURLE_OK)
        return UrlError::make(transportErrorCode(result, {wasSent(), headersComplete, headers_.hasKnownCoding()}),
                              errorText_.front() != '\0' ? errorText_.data() : curl_easy_strerror(code));
    if (!headersComplete)
        return UrlError::make(UrlError::NetworkConnectionLost,
                              "the connection was closed within the response's headers");
    return std::nullopt;
}

void Transfer::finish(int result) noexcept {
    if (abortReason_ == AbortReason::StaleConnection && !needsNewConnection_ && startAgain())
        return;
    try {
        finish(errorOf(result));
    } catch (...) {
        finish(outOfMemory());
    }
}

void Transfer::finish(std::optional<Error> error) noexcept {
    outcome_ = Outcome{std::move(error)};
    enter(State::Ended);
}

void Transfer::continueReading() {
    if (state_ == State::ReceivingDirectly) {
        try {
            directBody_->continueReading();
        } catch (...) {
            finish(outOfMemory());
        }
    } else if (state_ == State::Paused) {
        enter(State::Resuming);
        driver_->performLater();
    }
}

/// Receives a piece at most. A fast peer would keep the loop from everything else if a piece that is delivered let the
/// next one be received in the same turn.
void Transfer::resume() {
    TransferDriver& driver = *driver_;
    enter(State::Receiving);
    if (const CURLcode result = curl_easy_pause(easy_.get(), CURLPAUSE_CONT); result != CURLE_OK)
        finish(static_cast<int>(result));
    driver.perform();
}

/// Takes the next bytes of the body from libcurl; where it does not, libcurl offers them again after its pause.
bool Transfer::receive(std::string_view bytes) {
    if (state_ == State::Requesting)
        enter(canTakeOverConnection() ? State::TakingOver : State::Receiving);
    if (state_ == State::TakingOver)
        return false;
    if (!pieces_.append(bytes)) {
        enter(State::Paused);
        return false;
    }
    received_ += bytes.size();
    return true;
}

std::uint64_t Transfer::bytesSent() const {
    curl_off_t sent = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
    return static_cast<std::uint64_t>(sent);
}

/// Whether a long body of known length is to be received over plain HTTP/1.1, the request being sent: nothing but the
/// body, unencoded, is then still to be read from the connection.
bool Transfer::canTakeOverConnection() const {
    const auto length = headers_.contentLength();
    return length && *length >= minimumDirectReadSize && connection_ >= 0 && bytesSent() == bodySize() &&
           request_.url.scheme() == "http";
}

/// libcurl hands a body out in slices of 16 KiB, each copied once more. A long body is read from its connection
/// instead: libcurl hands out what it has read, the descriptor is duplicated, and libcurl closes its own.
void Transfer::takeOverConnection() {
    enter(State::Receiving);
    if (const CURLcode result = curl_easy_pause(easy_.get(), CURLPAUSE_CONT); result != CURLE_OK)
        return finish(static_cast<int>(result));
    if (state_ != State::Receiving)
        return;
    FileDescriptor connection(::fcntl(connection_, F_DUPFD_CLOEXEC, 0));
    if (!connection)
        return driver_->perform(); // There is no descriptor left; libcurl goes on.
    enter(State::ReceivingDirectly);
    try {
        directBody_ = std::make_unique<SocketBody>(std::move(connection), *headers_.contentLength() - received_,
                                                   pieces_, [this] { receivedFromConnection(); });
    } catch (...) {
        finish(outOfMemory());
    }
}

void Transfer::receivedFromConnection() {
    TransferDriver& driver = *driver_;
    progressed();
    try {
        if (directBody_->isComplete())
            finish(std::nullopt);
        else if (directBody_->isBroken())
            finish(UrlError::make(UrlError::NetworkConnectionLost,
                                  directBody_->error() != 0 ? std::generic_category().message(directBody_->error())
                                                            : "the connection was closed before the end of the body"));
    } catch (...) {
        finish(outOfMemory());
    }
    driver.reportChanges();
}

void Transfer::settle() noexcept {
    if (state_ == State::Aborted)
        finish(CURLE_ABORTED_BY_CALLBACK);
    else if (state_ == State::TakingOver)
        takeOverConnection();
    else if (state_ == State::Resuming)
        resume();
    const auto changed = changed_;
    changed();
}

void Transfer::driverEnds() noexcept {
    enter(State::Ended);
    directBody_.reset();
    driver_ = nullptr;
}

void Transfer::releaseHandle() noexcept {
    if (easy_)
        driver_->release(*this);
    headerList_.reset();
    parsedUrl_.reset();
}

} // namespace Platform
