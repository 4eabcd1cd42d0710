#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct ssl_ctx_st;
struct ssl_st;

namespace webservice {

/// A certificate or a key that cannot be used; the text begins with the file.
class TlsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The server's end of one TLS connection, on a socket that does not block. No call waits: its
/// result says what to wait for before the same call is repeated.
class TlsSession {
public:
    enum class State {
        Done,
        /// The socket must become readable.
        NeedsInput,
        /// The socket must become writable.
        NeedsOutput,
        /// The client has closed the connection in order.
        Ended,
        Failed,
    };
    struct Result {
        State state = State::Failed;
        /// How many bytes were received or sent; more than none only with Done.
        std::size_t count = 0;
    };

    Result handshake();
    Result receive(char* space, std::size_t size);
    /// What is sent next must begin with what was not sent.
    Result send(std::string_view bytes);
    /// Tells the client that nothing more is sent (close_notify), if that can be done at once.
    void end();

    /// Why the last call failed.
    const std::string& failure() const { return failure_; }

private:
    friend class TlsIdentity;
    struct Deleter {
        void operator()(ssl_st* session) const;
    };
    explicit TlsSession(ssl_st* session) : session_(session) {}
    Result resultOf(int returned);

    std::unique_ptr<ssl_st, Deleter> session_;
    std::string failure_ = "the connection was lost";
};

/// The certificate and the key by which a server proves who it is. Speaks TLS 1.2 and later.
class TlsIdentity {
public:
    /// Reads PEM files: the certificate, with those that lead from it to an authority behind it, and its key without a
    /// passphrase. Throws TlsError for files that are not that, or do not belong together, and std::system_error for
    /// one that cannot be read.
    TlsIdentity(const std::string& certificateFile, const std::string& keyFile);

    /// Throws std::bad_alloc.
    std::unique_ptr<TlsSession> session(int socket) const;

private:
    struct Deleter {
        void operator()(ssl_ctx_st* context) const;
    };
    std::unique_ptr<ssl_ctx_st, Deleter> context_;
};

} // namespace webservice
