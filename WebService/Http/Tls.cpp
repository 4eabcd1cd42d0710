#include "WebService/Http/Tls.h"

#include "WebService/Common/Descriptor.h"

#include <climits>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <new>
#include <optional>

namespace webservice {

namespace {

/// OpenSSL would ask for a passphrase on the terminal.
int refusePassphrase(char*, int, int, void*) {
    return -1;
}

void requireReadable(const std::string& file) {
    if (!Descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC)))
        throwErrno(file);
}

/// The first error is the cause of those that follow.
std::string reason(unsigned long error) {
    const char* text = ERR_reason_error_string(error);
    return text != nullptr ? text : "an error without a text";
}

/// Records that are sent meanwhile leave together, in full segments (tcp(7), TCP_CORK). Each is a write of its own, and
/// would wake the client.
class Cork {
public:
    explicit Cork(int socket) : socket_(socket) { set(1); }
    Cork(const Cork&) = delete;
    Cork& operator=(const Cork&) = delete;
    ~Cork() { set(0); }

private:
    void set(int value) const { ::setsockopt(socket_, IPPROTO_TCP, TCP_CORK, &value, sizeof value); }

    int socket_;
};

void require(bool isDone, const std::string& file, const std::string& what) {
    if (!isDone)
        throw TlsError(file + ": " + what + " (" + reason(ERR_peek_error()) + ")");
}

} // namespace

void TlsSession::Deleter::operator()(ssl_st* session) const {
    SSL_free(session);
}

void TlsIdentity::Deleter::operator()(ssl_ctx_st* context) const {
    SSL_CTX_free(context);
}

TlsIdentity::TlsIdentity(const std::string& certificateFile, const std::string& keyFile)
    : context_(SSL_CTX_new(TLS_server_method())) {
    if (!context_)
        throw std::bad_alloc();
    SSL_CTX* context = context_.get();
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_IGNORE_UNEXPECTED_EOF);
    // A connection that is idle keeps no buffers.
    SSL_CTX_set_mode(context,
                     SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_default_passwd_cb(context, &refusePassphrase);
    requireReadable(certificateFile);
    requireReadable(keyFile);
    ERR_clear_error();
    require(SSL_CTX_use_certificate_chain_file(context, certificateFile.c_str()) == 1, certificateFile,
            "no certificate in PEM");
    require(SSL_CTX_use_PrivateKey_file(context, keyFile.c_str(), SSL_FILETYPE_PEM) == 1, keyFile,
            "no key in PEM that has no passphrase and belongs to the certificate");
}

std::unique_ptr<TlsSession> TlsIdentity::session(int socket) const {
    std::unique_ptr<TlsSession> session(new TlsSession(SSL_new(context_.get())));
    if (!session->session_ || SSL_set_fd(session->session_.get(), socket) != 1)
        throw std::bad_alloc();
    SSL_set_accept_state(session->session_.get());
    return session;
}

TlsSession::Result TlsSession::resultOf(int returned) {
    switch (SSL_get_error(session_.get(), returned)) {
    case SSL_ERROR_WANT_READ:
        return {.state = State::NeedsInput};
    case SSL_ERROR_WANT_WRITE:
        return {.state = State::NeedsOutput};
    case SSL_ERROR_ZERO_RETURN:
        failure_ = "the client has disconnected";
        return {.state = State::Ended};
    default:
        if (ERR_peek_error() != 0)
            failure_ = reason(ERR_peek_error());
        return {.state = State::Failed};
    }
}

TlsSession::Result TlsSession::handshake() {
    ERR_clear_error();
    const int returned = SSL_do_handshake(session_.get());
    return returned == 1 ? Result{.state = State::Done} : resultOf(returned);
}

TlsSession::Result TlsSession::receive(char* space, std::size_t size) {
    std::size_t count = 0;
    // Each call gives at most one record.
    while (count < size) {
        ERR_clear_error();
        const int returned =
            SSL_read(session_.get(), space + count, static_cast<int>(std::min<std::size_t>(size - count, INT_MAX)));
        if (returned <= 0)
            return count > 0 ? Result{State::Done, count} : resultOf(returned);
        count += static_cast<std::size_t>(returned);
    }
    return {State::Done, count};
}

TlsSession::Result TlsSession::send(std::string_view bytes) {
    std::optional<Cork> cork;
    if (bytes.size() > SSL3_RT_MAX_PLAIN_LENGTH)
        cork.emplace(SSL_get_fd(session_.get()));
    std::size_t count = 0;
    while (count < bytes.size()) {
        ERR_clear_error();
        const std::size_t size = std::min<std::size_t>(bytes.size() - count, INT_MAX);
        const int returned = SSL_write(session_.get(), bytes.data() + count, static_cast<int>(size));
        if (returned <= 0)
            return count > 0 ? Result{State::Done, count} : resultOf(returned);
        count += static_cast<std::size_t>(returned);
    }
    return {State::Done, count};
}

void TlsSession::end() {
    ERR_clear_error();
    SSL_shutdown(session_.get());
}

} // namespace webservice
