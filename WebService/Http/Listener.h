#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <string>
#include <string_view>

namespace webservice {

/// Where to listen: "127.0.0.1:8080", "[::1]:8080", "localhost:8080", or a port alone, which means loopback.
struct ListenAddress {
    std::string host = "127.0.0.1";
    std::string port;
};

/// Throws std::invalid_argument when the text is no such address.
ListenAddress parseListenAddress(std::string_view text);

/// Throws boost::system::system_error with the reason.
boost::asio::ip::tcp::acceptor listenOn(boost::asio::io_context& context, const ListenAddress& address);

/// The numeric text of a socket's address, "127.0.0.1:8080" or "[::1]:8080".
std::string addressText(const boost::asio::ip::tcp::endpoint& endpoint);

} // namespace webservice
