#include "Platform/UrlLoading/Transfer.h"

#include "Platform/UrlLoading/HeaderLines.h"
#include "Platform/UrlLoading/TransferDriver.h"
#include "Platform/UrlLoading/TransportError.h"

#include <curl/curl.h>

#include <fcntl.h>

#include <system_error>
#include <utility>

namespace Platform {

namespace {

/// A rest of a body that is shorter is not worth a connection of its own.
constexpr std::uint64_t worthTakingOver = 256 << 10;

/// Takes no memory itself: its texts are short enough to be held in place.
Error outOfMemory() noexcept {
    return Error{UrlError::domain, UrlError::NetworkConnectionLost, "out of memory"};
}

} // namespace

void Transfer::progressed() noexcept {
    progress_ = true;
    driver_->touch(*this);
}

/// The first reason counts: the transport may go on for a moment, and fail of it.
void Transfer::breakOff(Break reason) noexcept {
    if (break_ == Break::None)
        break_ = reason;
    driver_->touch(*this);
}

Transfer::Transfer(TransferDriver& driver, const Request& request, std::function<void()> changed)
    : driver_(&driver), request_(request), changed_(std::move(changed)) {
    driver.add(*this);
}

Transfer::~Transfer() {
    releaseHandle();
    if (driver_ != nullptr)
        driver_->remove(*this);
}

void Transfer::start() {
    makeHandle();
    driver_->start(*this);
}

void Transfer::releaseSlot() noexcept {
    if (driver_ != nullptr)
        driver_->releaseSlot(*this);
}

/// Makes the request anew, on a connection of its own; nothing of it was sent.
bool Transfer::startAgain() noexcept {
    releaseHandle();
    break_ = Break::None;
    onFreshConnection_ = true;
    fileOffset_ = 0;
    errorText_ = {};
    try {
        makeHandle();
        driver_->startLater(*this);
    } catch (...) {
        break_ = Break::NoMemory;
        return false;
    }
    return true;
}

bool Transfer::sendsBody() const {
    const std::string& method = request_.head.method;
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

std::optional<Error> Transfer::errorOf(int result) const {
    switch (break_) {
    case Break::None:
        break;
    case Break::MalformedHead:
        return UrlError::make(UrlError::BadServerResponse, "the head is malformed or too long");
    case Break::UnreadableFile:
        return UrlError::make(UrlError::Unknown, "the file to send became shorter or unreadable");
    case Break::NoMemory:
        return UrlError::make(UrlError::NetworkConnectionLost, "there is no memory left for it");
    case Break::CannotWatch:
        return UrlError::make(UrlError::NetworkConnectionLost, "its socket cannot be watched");
    case Break::SentBefore:
        return UrlError::make(UrlError::NetworkConnectionLost, "the connection ended after the request was sent on it");
    case Break::SpentConnection:
        return UrlError::make(UrlError::NetworkConnectionLost, "the connection ended before the request was sent");
    }
    const auto code = static_cast<CURLcode>(result);
    const bool headComplete = head_.state() == ResponseHead::State::Complete;
    if (code != CURLE_OK)
        return UrlError::make(transportErrorCode(result, {wasSent(), headComplete, knownCoding_}),
                              errorText_.front() != '\0' ? errorText_.data() : curl_easy_strerror(code));
    if (!headComplete)
        return UrlError::make(UrlError::NetworkConnectionLost,
                              "the connection was closed within the head of the answer");
    return std::nullopt;
}

void Transfer::finish(int result) noexcept {
    if (break_ == Break::SpentConnection && !onFreshConnection_ && startAgain())
        return;
    try {
        finish(errorOf(result));
    } catch (...) {
        finish(outOfMemory());
    }
    releaseHandle();
    driver_->touch(*this);
}

void Transfer::continueReading() {
    if (directBody_)
        return continueReadingDirectly();
    if (!std::exchange(paused_, false) || easy_ == nullptr)
        return;
    TransferDriver& driver = *driver_;
    if (const CURLcode result = curl_easy_pause(easy_, CURLPAUSE_CONT); result != CURLE_OK)
        finish(static_cast<int>(result));
    driver.perform();
}

/// Whether a long body of known length is to come over plain HTTP/1.1, the request being out: nothing but the body, as
/// it is, is then still to be read from the connection.
bool Transfer::canTakeOverConnection() const {
    curl_off_t sent = 0;
    curl_easy_getinfo(easy_, CURLINFO_SIZE_UPLOAD_T, &sent);
    const auto length = head_.contentLength();
    return length && *length >= worthTakingOver && connection_ >= 0 && static_cast<std::uint64_t>(sent) == bodySize() &&
           request_.url.scheme() == "http";
}

/// The transport hands out bodies in slices of 16 KiB, each copied once more. It has nothing to add to a long one, so
/// its connection is taken from it: it hands out what it has read, the descriptor is doubled, and the transport closes
/// its own.
void Transfer::takeOverConnection() {
    reader_ = Reader::Transport;
    if (const CURLcode result = curl_easy_pause(easy_, CURLPAUSE_CONT); result != CURLE_OK)
        return finish(static_cast<int>(result));
    FileDescriptor connection(::fcntl(connection_, F_DUPFD_CLOEXEC, 0));
    if (!connection)
        return driver_->perform(); // There is no descriptor left; the transport goes on.
    releaseHandle();
    try {
        directBody_ = std::make_unique<SocketBody>(std::move(connection), *head_.contentLength() - received_, pieces_,
                                                   [this] { receivedFromConnection(); });
    } catch (...) {
        finish(outOfMemory());
    }
}

void Transfer::continueReadingDirectly() {
    try {
        directBody_->continueReading();
    } catch (...) {
        finish(outOfMemory());
    }
}

void Transfer::receivedFromConnection() {
    progress_ = true;
    if (directBody_->isComplete())
        finish(std::nullopt);
    else if (directBody_->isBroken())
        finish(UrlError::make(UrlError::NetworkConnectionLost,
                              directBody_->error() != 0 ? std::generic_category().message(directBody_->error())
                                                        : "the connection was closed before the end of the body"));
    const auto changed = changed_;
    changed();
}

void Transfer::settle() {
    if (break_ != Break::None && easy_ != nullptr)
        finish(CURLE_ABORTED_BY_CALLBACK);
    if (reader_ == Reader::Changing && easy_ != nullptr)
        takeOverConnection();
    const auto changed = changed_;
    changed();
}

void Transfer::driverEnds() noexcept {
    releaseHandle();
    driver_ = nullptr;
}

void Transfer::releaseHandle() noexcept {
    if (easy_ != nullptr)
        driver_->release(*this);
    headerLines_.reset();
}

std::optional<Url> resolve(const Url& base, std::string_view reference) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
    constexpr unsigned int flags = CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE | CURLU_PATH_AS_IS;
    char* text = nullptr;
    if (curl_url_set(url.get(), CURLUPART_URL, base.absoluteString().c_str(), flags) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, std::string(reference).c_str(), flags) != CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK)
        return std::nullopt;
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
    return Url::fromString(text);
}

} // namespace Platform
