#pragma once

#include "WebService/Http/Clients.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <string>
#include <string_view>

namespace webservice {

/// The client has disconnected, or has timed out.
struct Disconnected {};

/// The socket of a client. Bytes that were received and not consumed are in `input()`, whose memory is released while
/// nothing is received. Errors of sending are thrown as Disconnected.
class ClientSocket : public Client {
public:
    ClientSocket(boost::asio::ip::tcp::socket socket, std::shared_ptr<Clients> clients);

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

    /// Sends what can be sent without waiting, and then waits until more can be. Gives how much was sent, which may be
    /// nothing.
    boost::asio::awaitable<std::size_t> sendSome(std::string_view bytes);

    /// How many bytes have been sent in all.
    std::uint64_t sent() const { return sent_; }

    /// Shuts the socket down for writing.
    void shutdownOutput();

    /// Lets the loop run for a millisecond, so that this client's work does not delay others, and so that work that
    /// waits for something does not keep the loop busy.
    boost::asio::awaitable<void> pause();

    /// Sets how much memory is held for the client in addition to the input.
    void setBodyMemory(std::size_t bytes);

private:
    void expire() override;
    void disconnect() override;
    void onSent(std::size_t bytes, const boost::system::error_code& error);

    boost::asio::ip::tcp::socket socket_;
    std::string peer_;
    std::string ownAddress_;
    boost::beast::flat_buffer input_;
    std::uint64_t sent_ = 0;
    std::size_t bodyMemory_ = 0;
};

} // namespace webservice
