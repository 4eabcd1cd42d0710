#pragma once

#include "WebService/Descriptor.h"

#include <sys/socket.h>

#include <string>
#include <string_view>

namespace webservice {

// Where to listen: "127.0.0.1:8080", "[::1]:8080", "localhost:8080", or a port alone, which means loopback.
struct ListenAddress {
    std::string host = "127.0.0.1";
    std::string port;
};

// Throws std::invalid_argument when the text is no such address.
ListenAddress parseListenAddress(std::string_view text);

// A listening, non-blocking TCP socket. Throws std::runtime_error that says why the address cannot be had.
Descriptor listenOn(const ListenAddress& address);

// The numeric text of a socket address, "127.0.0.1:8080" or "[::1]:8080".
std::string addressText(const sockaddr_storage& address, socklen_t length);

// The address that a socket is bound to.
std::string localAddress(int socket);

} // namespace webservice
