#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/Transfer.h"
#include "Platform/UrlLoading/TransferDriver.h"
#include "Platform/UrlLoading/TransportSockets.h"

#include <climits>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <utility>

/// A transfer's easy handle: its options and its callbacks.
namespace Platform {

namespace {

template <class Value>
void set(const CurlEasyHandle& easy, CURLoption option, Value value) {
    if (const CURLcode result = curl_easy_setopt(easy.get(), option, value); result != CURLE_OK)
        throw std::runtime_error(std::string("curl_easy_setopt: ") + curl_easy_strerror(result));
}

void append(CurlList& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr)
        throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
}

} // namespace

/// libcurl's callbacks, which only record: nothing may be thrown through libcurl, and no option of another handle may
/// be changed. Each that takes memory aborts the transfer where there is none.
struct Transfer::Callbacks {
    static Transfer& progressed(void* self) noexcept {
        auto& transfer = *static_cast<Transfer*>(self);
        transfer.progressed();
        return transfer;
    }

    /// The result of `function`, or `refusal` where it throws.
    template <class Result, class Function>
    static Result guarded(Transfer& transfer, Result refusal, const Function& function) noexcept {
        try {
            return function();
        } catch (...) {
            transfer.abort(AbortReason::NoMemory);
            return refusal;
        }
    }

    /// Opens the socket of a new connection (CURLOPT_OPENSOCKETFUNCTION(3)).
    static curl_socket_t openSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept {
        auto& transfer = *static_cast<Transfer*>(self);
        if (!transfer.maySend()) {
            transfer.abort(AbortReason::SentBefore);
            return CURL_SOCKET_BAD;
        }
        return guarded<curl_socket_t>(transfer, CURL_SOCKET_BAD, [&] {
            return transfer.driver_->sockets().open(address->family, address->socktype, address->protocol);
        });
    }

    static int closeSocket(void* sockets, curl_socket_t socket) noexcept {
        return static_cast<TransportSockets*>(sockets)->close(socket);
    }

    /// The connection is established, and the request is sent next (CURLOPT_PREREQFUNCTION(3)).
    static int aboutToSend(void* self, char* peer, char* local, int peerPort, int localPort) noexcept {
        auto& transfer = progressed(self);
        return guarded(transfer, CURL_PREREQFUNC_ABORT, [&] {
            const AbortReason reason =
                transfer.checkConnection(endpointText(local, localPort), endpointText(peer, peerPort));
            if (reason == AbortReason::None)
                return CURL_PREREQFUNC_OK;
            transfer.abort(reason);
            return CURL_PREREQFUNC_ABORT;
        });
    }

    static std::size_t headerLine(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = progressed(self);
        return guarded<std::size_t>(transfer, 0, [&]() -> std::size_t {
            ResponseHeaders& headers = transfer.headers_;
            if (headers.state() == ResponseHeaders::State::Reading &&
                headers.addLine({bytes, size * count}) == ResponseHeaders::State::Complete)
                transfer.headersAreComplete();
            if (headers.state() != ResponseHeaders::State::Malformed)
                return size * count;
            transfer.abort(AbortReason::MalformedHeaders);
            return 0;
        });
    }

    static std::size_t bodySlice(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = progressed(self);
        return guarded<std::size_t>(transfer, 0, [&]() -> std::size_t {
            // libcurl takes a line that begins with a carriage return for the end of the headers.
            if (transfer.headers_.state() != ResponseHeaders::State::Complete)
                transfer.abort(AbortReason::MalformedHeaders);
            if (transfer.state_ == State::Aborted)
                return 0;
            return transfer.receive({bytes, size * count}) ? size * count : CURL_WRITEFUNC_PAUSE;
        });
    }

    /// libcurl drops what it has read behind the end of a response, and reports that only here. Such a connection is
    /// not to be used again (RFC 9112, section 9.3).
    static int debugMessage(CURL* easy, curl_infotype type, char* bytes, std::size_t size, void*) noexcept {
        const std::string_view text(bytes, size);
        if (type == CURLINFO_TEXT && (text.starts_with("Excess found") || text.starts_with("Leftovers after chunking")))
            curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
        return 0;
    }

    static std::size_t readFile(char* space, std::size_t size, std::size_t count, void* self) noexcept {
        auto& transfer = progressed(self);
        const BodyFile& body = **std::get_if<const BodyFile*>(&transfer.request_.body);
        const std::uint64_t left = body.size - transfer.fileOffset_;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size * count, left));
        const auto got = ::pread(body.file.get(), space, wanted, static_cast<off_t>(transfer.fileOffset_));
        if (got < 0 || (got == 0 && wanted > 0)) {
            transfer.abort(AbortReason::UnreadableFile);
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

/// Makes a handle of this transfer's own: in a handle that is used again, also after curl_easy_reset(3), libcurl 7.88
/// keeps a pointer into the freed header fields of the response before, and follows it where a header section begins
/// with a folded line.
void Transfer::makeHandle() {
    easy_.reset(curl_easy_init());
    if (!easy_)
        throw std::bad_alloc();
    set(easy_, CURLOPT_PRIVATE, this);
    set(easy_, CURLOPT_ERRORBUFFER, errorText_.data());
    setUrl();
    if (request_.url.scheme() == "https")
        setTrust();
    set(easy_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(easy_, CURLOPT_PROXY, "");
    // A name and password in the URL are not sent.
    set(easy_, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
    set(easy_, CURLOPT_NOSIGNAL, 1L);
    // A name look-up that is cancelled must not block the loop.
    set(easy_, CURLOPT_QUICK_EXIT, 1L);
    // Timeouts are the load's; libcurl's own is put out of the way.
    set(easy_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX));
    set(easy_, CURLOPT_MAXAGE_CONN, longestIdleSeconds);
    if (needsNewConnection_)
        set(easy_, CURLOPT_FRESH_CONNECT, 1L);
    setCallbacks();
    configureBody();
    setHeaderFields();
}

/// Where it has the parts of the URL (CURLOPT_CURLU(3)), libcurl does not write the text anew from them, which takes a
/// twentieth of an idle poll. What cannot be parsed here fails in the transfer, with libcurl's error.
void Transfer::setUrl() {
    const char* text = request_.url.absoluteString().c_str();
    set(easy_, CURLOPT_URL, text);
    set(easy_, CURLOPT_PATH_AS_IS, 1L);
    parsedUrl_.reset(curl_url());
    constexpr unsigned int flags = CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS;
    if (parsedUrl_ && curl_url_set(parsedUrl_.get(), CURLUPART_URL, text, flags) == CURLUE_OK)
        set(easy_, CURLOPT_CURLU, parsedUrl_.get());
}

/// libcurl verifies certificate and host name unless it is told otherwise. Without a path of its own, it would trust
/// the system's authorities as well (CURLOPT_CAPATH(3)), and it would keep those of the file for a day.
void Transfer::setTrust() {
    set(easy_, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (const auto authorities = DeploymentSettings::current().certificateAuthorities) {
        set(easy_, CURLOPT_CAINFO, authorities->c_str());
        set(easy_, CURLOPT_CAPATH, nullptr);
        set(easy_, CURLOPT_CA_CACHE_TIMEOUT, 0L);
    }
}

void Transfer::setCallbacks() {
    set(easy_, CURLOPT_OPENSOCKETFUNCTION, Callbacks::openSocket);
    set(easy_, CURLOPT_OPENSOCKETDATA, this);
    // A connection outlives the transfer that has made it.
    set(easy_, CURLOPT_CLOSESOCKETFUNCTION, Callbacks::closeSocket);
    set(easy_, CURLOPT_CLOSESOCKETDATA, &driver_->sockets());
    set(easy_, CURLOPT_PREREQFUNCTION, Callbacks::aboutToSend);
    set(easy_, CURLOPT_PREREQDATA, this);
    set(easy_, CURLOPT_HEADERFUNCTION, Callbacks::headerLine);
    set(easy_, CURLOPT_HEADERDATA, this);
    set(easy_, CURLOPT_WRITEFUNCTION, Callbacks::bodySlice);
    set(easy_, CURLOPT_WRITEDATA, this);
    set(easy_, CURLOPT_DEBUGFUNCTION, Callbacks::debugMessage);
}

void Transfer::configureBody() {
    const std::string& method = request_.headers.method;
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
    for (const auto& [name, value] : request_.headers.fields)
        append(headerList_, value.empty() ? name + ';' : name + ": " + value);
    // A name without a value keeps libcurl from adding the field on its own.
    for (const char* own : {"Accept", "Content-Type", "Expect"}) {
        if (!request_.headers.fields.has(own))
            append(headerList_, std::string(own) + ':');
    }
    set(easy_, CURLOPT_HTTPHEADER, headerList_.get());
}

/// From here on libcurl reports what it reads beyond the response (`Callbacks::debugMessage`).
void Transfer::headersAreComplete() {
    if (const auto length = headers_.contentLength())
        pieces_.setCapacity(static_cast<std::size_t>(std::min<std::uint64_t>(*length, maximumDataPiece)));
    set(easy_, CURLOPT_VERBOSE, 1L);
}

/// Whether the request has not been sent, or may be sent once more (RFC 9110, section 9.2.2).
bool Transfer::maySend() const {
    return !wasSent() || request_.headers.isIdempotent();
}

LoadStage Transfer::stage() const {
    using enum LoadStage;
    LoadStage reached = Waiting;
    // Each of these times is 0 until its step is done (curl_easy_getinfo(3), "TIMES").
    for (const auto& [time, stage] : {std::pair(CURLINFO_NAMELOOKUP_TIME_T, HostFound),
                                      {CURLINFO_CONNECT_TIME_T, Connected},
                                      {CURLINFO_APPCONNECT_TIME_T, Secured}}) {
        curl_off_t microseconds = 0;
        if (easy_ && curl_easy_getinfo(easy_.get(), time, &microseconds) == CURLE_OK && microseconds > 0)
            reached = stage;
    }
    return reached;
}

bool Transfer::wasSent() const {
    long size = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_REQUEST_SIZE, &size);
    return size > 0;
}

/// What keeps the request from being sent on the connection between these two ends.
Transfer::AbortReason Transfer::checkConnection(std::string_view local, std::string_view peer) {
    if (!maySend())
        return AbortReason::SentBefore;
    TransportSockets& sockets = driver_->sockets();
    connection_ = sockets.find(local, peer);
    if (connection_ < 0)
        return AbortReason::None; // A new one that the peer has reset again: sending finds that out.
    // What a new one holds was received after the request was begun, or belongs to the TLS handshake.
    const bool used = sockets.markInUse(connection_, *this);
    return used && !TransportSockets::isConnectedAndIdle(connection_) ? AbortReason::StaleConnection
                                                                      : AbortReason::None;
}

} // namespace Platform
