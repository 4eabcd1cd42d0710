#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Timers.h"
#include "WebService/Http/Tls.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace webservice {

/// The client has disconnected, or has timed out.
struct Disconnected {};

/// The connection of a client, over TLS or not. Bytes that were received and not consumed are in `input()`, whose
/// memory is released while nothing is received. Errors of sending are thrown as Disconnected.
class ClientSocket : public Client {
public:
    /// Over TLS with an identity, which must outlive this.
    ClientSocket(boost::asio::ip::tcp::socket socket, std::shared_ptr<Clients> clients, const TlsIdentity* identity);

    /// Makes the connection secure, where it is to be. To be called first. Throws Disconnected.
    boost::asio::awaitable<void> handshake();
    bool isSecure() const { return tls_ != nullptr; }

    /// The client's address, "127.0.0.1:40000".
    const std::string& peer() const { return peer_; }
    /// The local address of the connection, as a number.
    const std::string& ownAddress() const { return ownAddress_; }

    boost::beast::flat_buffer& input() { return input_; }
    std::string_view received() const;

    /// Waits for bytes and adds them to the input; false when the client has disconnected and when the time for them
    /// has run out.
    boost::asio::awaitable<bool> receiveMore();

    boost::asio::awaitable<void> send(std::string_view bytes);

    /// Sends what can be sent without waiting, and then waits until more can be; while it waits, the bytes are not
    /// used. Gives how much was sent, which may be nothing. What is sent next must begin with the rest.
    boost::asio::awaitable<std::size_t> sendSome(std::string_view bytes);

    /// How many bytes have been sent in all.
    std::uint64_t sent() const { return sent_; }

    /// Shuts down the output in order (close_notify over TLS, then FIN).
    void shutdownOutput();

    /// Shuts the socket down for writing (FIN) in the middle of what is sent.
    void cutOutput();

    /// Waits for that time. What the client sends meanwhile is added to the input. Throws Disconnected when the
    /// connection ends; a client that has only shut down its sending half still waits for its response, unless the
    /// wait `endsWithInput`.
    boost::asio::awaitable<void> wait(Timers& timers, Timers::Clock::duration time, bool endsWithInput = false);

    /// Ends wait() early; does nothing where that is not waiting.
    void wake();

    /// Discards what the client sends, until it closes its sending half or the time is over.
    boost::asio::awaitable<void> discardInput(Timers& timers, Timers::Clock::duration time);

    /// Resets the connection (RST) once the client's side has got everything that was sent.
    boost::asio::awaitable<void> reset();

    /// Suspends this client's work for a millisecond, so that others run and waiting work does not spin.
    boost::asio::awaitable<void> pause();

    /// Lets what is ready on the loop run first.
    boost::asio::awaitable<void> yield();

    /// Sets how much memory is held for the client in addition to the input.
    void setBodyMemory(std::size_t bytes);

private:
    void expire() override;
    void disconnect() override;
    using SecureCall = std::function<TlsSession::Result()>;
    boost::asio::awaitable<TlsSession::Result> perform(SecureCall call);
    boost::asio::awaitable<bool> receiveSecurely();
    boost::asio::awaitable<std::size_t> sendSecurely(std::string_view bytes);
    boost::asio::awaitable<std::size_t> sendSomeSecurely(std::string_view bytes);
    std::size_t prepareInput();
    void onReceived(std::size_t bytes, bool isEnd);
    void onSent(std::size_t bytes, const boost::system::error_code& error);
    boost::asio::awaitable<void> waitWithoutReading(const bool& isOver);
    bool isConnected() const { return !hasExpired() && socket_.is_open(); }

    boost::asio::ip::tcp::socket socket_;
    boost::asio::steady_timer wakeUp_; // never expires; cancelled to end a wait
    bool* waitIsOver_ = nullptr;       // of wait(), while that waits
    std::unique_ptr<TlsSession> tls_;  // null where the connection is not secure
    bool inputHasEnded_ = false;
    bool outputHasEnded_ = false;
    std::string peer_;
    std::string ownAddress_;
    boost::beast::flat_buffer input_;
    std::uint64_t sent_ = 0;
    std::size_t bodyMemory_ = 0;
};

} // namespace webservice
