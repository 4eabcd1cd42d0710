#pragma once

#include "WebService/Http/Clients.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <string>
#include <string_view>

namespace webservice {

/// The client has gone, or will not be waited for any longer.
struct Ended {};

/// A client's connection as bytes in and out. What has come and is not used yet lies in `input()`, whose memory is
/// given back while nothing comes. Anything but a transfer of bytes or the end of the input is thrown as Ended.
class ClientSocket : public Client {
public:
    ClientSocket(boost::asio::ip::tcp::socket socket, std::shared_ptr<Clients> clients);

    /// The client's address, "127.0.0.1:40000".
    const std::string& peer() const { return peer_; }
    /// The address at which it came in, as a number.
    const std::string& ownAddress() const { return ownAddress_; }

    boost::beast::flat_buffer& input() { return input_; }
    std::string_view received() const;

    /// Waits for bytes and adds them to the input; false at its end and when the time for them has run out.
    boost::asio::awaitable<bool> receiveMore();

    boost::asio::awaitable<void> send(std::string_view bytes);

    /// Sends what can be sent without waiting, and then waits until more can be. Gives how much was sent, which may be
    /// nothing.
    boost::asio::awaitable<std::size_t> sendSome(std::string_view bytes);

    /// How many bytes have been sent in all.
    std::uint64_t sent() const { return sent_; }

    /// Says to the client that nothing more will be sent.
    void endOutput();

    /// Lets the loop turn, so that this client's work keeps no others waiting. For a millisecond, so that work that
    /// waits for something itself does not keep the loop busy.
    boost::asio::awaitable<void> pause();

    /// The memory that is held for the client beside the input.
    void keeps(std::size_t bytes);

private:
    void expire() override;
    void drop() override;
    void wasSent(std::size_t bytes, const boost::system::error_code& error);

    boost::asio::ip::tcp::socket socket_;
    std::string peer_;
    std::string ownAddress_;
    boost::beast::flat_buffer input_;
    std::uint64_t sent_ = 0;
    std::size_t kept_ = 0;
};

} // namespace webservice
