#include "Platform/UrlLoading/Transfer.h"

#include "Platform/UrlLoading/TransferDriver.h"

#include <climits>
#include <curl/curl.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Platform {

namespace {

/// A rest of a body that is shorter is not worth a connection of its own.
constexpr std::uint64_t worthTakingOver = 256 << 10;

void checked(CURLcode result, const char* what) {
    if (result != CURLE_OK)
        throw std::runtime_error(std::string(what) + ": " + curl_easy_strerror(result));
}

template <class Value>
void set(CURL* easy, CURLoption option, Value value) {
    checked(curl_easy_setopt(easy, option, value), "curl_easy_setopt");
}

/// The code that callers know for an error of the transport (libcurl-errors(3)), where the head of the answer was
/// complete or not.
///
/// | transport                                                            | code                    |
/// |----------------------------------------------------------------------|-------------------------|
/// | URL_MALFORMAT                                                        | BadUrl                  |
/// | COULDNT_RESOLVE_HOST                                                 | CannotFindHost          |
/// | COULDNT_CONNECT                                                      | CannotConnectToHost     |
/// | OPERATION_TIMEDOUT                                                   | TimedOut                |
/// | GOT_NOTHING, PARTIAL_FILE, SEND_ERROR, RECV_ERROR, SEND_FAIL_REWIND  | NetworkConnectionLost   |
/// | UNSUPPORTED_PROTOCOL (the answer has no status line of HTTP/1),      | BadServerResponse       |
/// | WEIRD_SERVER_REPLY, BAD_FUNCTION_ARGUMENT (the first line of the     |                         |
/// | header section is a continued one), OUT_OF_MEMORY in the head (a     |                         |
/// | line over 100 KiB)                                                   |                         |
/// | anything else                                                        | Unknown                 |
int errorCode(CURLcode code, bool headComplete) {
    switch (code) {
    case CURLE_URL_MALFORMAT:
        return UrlError::BadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
        return UrlError::CannotFindHost;
    case CURLE_COULDNT_CONNECT:
        return UrlError::CannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
        return UrlError::TimedOut;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:
        return UrlError::NetworkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_FUNCTION_ARGUMENT:
        return UrlError::BadServerResponse;
    case CURLE_OUT_OF_MEMORY:
        return headComplete ? UrlError::Unknown : UrlError::BadServerResponse;
    default:
        return UrlError::Unknown;
    }
}

} // namespace

/// What the transport calls, in the middle of its work: each only records.
struct Transfer::Callbacks {
    static Transfer& touched(void* self) {
        auto& transfer = *static_cast<Transfer*>(self);
        transfer.progressed();
        return transfer;
    }

    static std::size_t headLine(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = touched(self);
        ResponseHead& head = transfer.head_;
        if (head.state() == ResponseHead::State::Reading &&
            head.addLine({bytes, size * count}) == ResponseHead::State::Complete && head.contentLength())
            transfer.pieces_.setCapacity(
                static_cast<std::size_t>(std::min<std::uint64_t>(*head.contentLength(), maximumDataPiece)));
        if (head.state() != ResponseHead::State::Malformed)
            return size * count;
        transfer.failure_ = UrlError::make(UrlError::BadServerResponse, "the head is malformed or too long");
        return 0;
    }

    static std::size_t bodySlice(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = touched(self);
        if (transfer.reader_ == Reader::Undecided)
            transfer.reader_ = transfer.canTakeOverConnection() ? Reader::Changing : Reader::Transport;
        if (transfer.reader_ == Reader::Changing)
            return CURL_WRITEFUNC_PAUSE;
        if (!transfer.pieces_.append({bytes, size * count})) {
            transfer.paused_ = true;
            return CURL_WRITEFUNC_PAUSE;
        }
        transfer.received_ += size * count;
        return size * count;
    }

    static std::size_t readFile(char* space, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = touched(self);
        const BodyFile& body = **std::get_if<const BodyFile*>(&transfer.request_.body);
        const std::uint64_t left = body.size - transfer.fileOffset_;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size * count, left));
        const auto got = ::pread(body.file.get(), space, wanted, static_cast<off_t>(transfer.fileOffset_));
        if (got < 0 || (got == 0 && wanted > 0)) {
            transfer.failure_ = UrlError::make(UrlError::Unknown, "the file to send became shorter or unreadable");
            return CURL_READFUNC_ABORT;
        }
        transfer.fileOffset_ += static_cast<std::uint64_t>(got);
        return static_cast<std::size_t>(got);
    }

    static int seekFile(void* self, curl_off_t offset, int origin) noexcept {
        if (origin != SEEK_SET || offset < 0)
            return CURL_SEEKFUNC_FAIL;
        static_cast<Transfer*>(self)->fileOffset_ = static_cast<std::uint64_t>(offset);
        return CURL_SEEKFUNC_OK;
    }
};

void Transfer::progressed() {
    progress_ = true;
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
    configureBody();
    setHeaderFields();
    driver_->start(easy_);
}

/// Makes a handle of this transfer's own: libcurl 7.88 keeps in a handle that is used again, also after
/// curl_easy_reset(3), a pointer into the header fields of the answer before, which are freed, and follows it where a
/// header section begins with a continued line.
void Transfer::makeHandle() {
    easy_ = curl_easy_init();
    if (easy_ == nullptr)
        throw std::runtime_error("curl_easy_init");
    set(easy_, CURLOPT_PATH_AS_IS, 1L);
    set(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
    set(easy_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(easy_, CURLOPT_PROXY, "");
    // A name and password in the address are not sent unasked.
    set(easy_, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
    set(easy_, CURLOPT_NOSIGNAL, 1L);
    // A name look-up that is called off must not hold the loop up.
    set(easy_, CURLOPT_QUICK_EXIT, 1L);
    // The limits of time are the loader's; the transport's own is put out of the way.
    set(easy_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX));
    set(easy_, CURLOPT_HEADERFUNCTION, Callbacks::headLine);
    set(easy_, CURLOPT_WRITEFUNCTION, Callbacks::bodySlice);
    set(easy_, CURLOPT_PRIVATE, this);
    set(easy_, CURLOPT_ERRORBUFFER, errorText_.data());
    set(easy_, CURLOPT_URL, request_.url.absoluteString().c_str());
    set(easy_, CURLOPT_HEADERDATA, this);
    set(easy_, CURLOPT_WRITEDATA, this);
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

void Transfer::configureBody() {
    const std::string& method = request_.head.method;
    if (method == "HEAD") {
        set(easy_, CURLOPT_NOBODY, 1L);
        return;
    }
    set(easy_, sendsBody() ? CURLOPT_POST : CURLOPT_HTTPGET, 1L);
    if (method != (sendsBody() ? "POST" : "GET"))
        set(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
    if (!sendsBody())
        return;
    set(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bodySize()));
    const auto* bytes = std::get_if<std::string_view>(&request_.body);
    if (bodySize() == 0 || bytes != nullptr) {
        set(easy_, CURLOPT_POSTFIELDS, bodySize() == 0 ? "" : bytes->data());
        return;
    }
    set(easy_, CURLOPT_POSTFIELDS, nullptr);
    set(easy_, CURLOPT_READFUNCTION, Callbacks::readFile);
    set(easy_, CURLOPT_READDATA, this);
    set(easy_, CURLOPT_SEEKFUNCTION, Callbacks::seekFile);
    set(easy_, CURLOPT_SEEKDATA, this);
}

void Transfer::setHeaderFields() {
    const auto append = [this](const char* line) {
        curl_slist* lines = curl_slist_append(headerLines_, line);
        if (lines == nullptr)
            throw std::bad_alloc();
        headerLines_ = lines;
    };
    // The lines that make the transport send exactly these fields (CURLOPT_HTTPHEADER(3)).
    std::string line;
    for (const auto& [name, value] : request_.head.fields) {
        line = name;
        if (value.empty())
            line += ';';
        else
            (line += ": ") += value;
        append(line.c_str());
    }
    // A name without a value keeps the transport from adding the field on its own.
    for (const char* own : {"Accept", "Content-Type", "Expect"}) {
        if (request_.head.fields.has(own))
            continue;
        (line = own) += ':';
        append(line.c_str());
    }
    set(easy_, CURLOPT_HTTPHEADER, headerLines_);
}

void Transfer::finish(int result) {
    const auto code = static_cast<CURLcode>(result);
    const bool headComplete = head_.state() == ResponseHead::State::Complete;
    if (failure_)
        finish(failure_);
    else if (code != CURLE_OK)
        finish(UrlError::make(errorCode(code, headComplete),
                              errorText_.front() != '\0' ? errorText_.data() : curl_easy_strerror(code)));
    else if (!headComplete)
        finish(
            UrlError::make(UrlError::NetworkConnectionLost, "the connection was closed within the head of the answer"));
    else
        finish(std::nullopt);
    releaseHandle();
    driver_->touch(*this);
}

void Transfer::continueReading() {
    if (directBody_)
        return directBody_->continueReading();
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
    directBody_ = std::make_unique<SocketBody>(std::move(connection), *head_.contentLength() - received_, pieces_,
                                               [this] { receivedFromConnection(); });
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
    if (reader_ == Reader::Changing && easy_ != nullptr)
        takeOverConnection();
    const auto changed = changed_;
    changed();
}

void Transfer::driverEnds() {
    releaseHandle();
    driver_ = nullptr;
}

void Transfer::releaseHandle() {
    if (easy_ == nullptr)
        return;
    driver_->release(std::exchange(easy_, nullptr));
    curl_slist_free_all(headerLines_);
    headerLines_ = nullptr;
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
