#include "WebService/Http/Listener.h"

#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <memory>
#include <stdexcept>

namespace webservice {

ListenAddress parseListenAddress(std::string_view text) {
    ListenAddress address;
    const std::size_t colon = text.rfind(':');
    const std::string_view port = colon == std::string_view::npos ? text : text.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (port.empty() || error != std::errc() || end != port.data() + port.size()) {
        throw std::invalid_argument("a port from 0 to 65535 is missing");
    }
    address.port = port;
    if (colon != std::string_view::npos) {
        std::string_view host = text.substr(0, colon);
        const bool bracketed = host.starts_with('[') && host.ends_with(']');
        if (bracketed) {
            host = host.substr(1, host.size() - 2);
        }
        if (host.empty() || (!bracketed && host.find(':') != std::string_view::npos)) {
            throw std::invalid_argument("the host is malformed");
        }
        address.host = host;
    }
    return address;
}

Descriptor listenOn(const ListenAddress& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* list = nullptr;
    if (const int error = ::getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list); error != 0) {
        throw std::runtime_error(::gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(list, &::freeaddrinfo);
    for (const addrinfo* info = list; info != nullptr; info = info->ai_next) {
        Descriptor socket(::socket(info->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const int on = 1;
        if (socket && ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
            ::bind(socket.get(), info->ai_addr, info->ai_addrlen) == 0 && ::listen(socket.get(), SOMAXCONN) == 0) {
            return socket;
        }
    }
    throw std::runtime_error(std::generic_category().message(errno));
}

std::string addressText(const sockaddr_storage& address, socklen_t length) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host.data(), host.size(), port.data(),
                      port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "unknown";
    }
    const std::string name = host.data();
    return (name.find(':') != std::string::npos ? '[' + name + ']' : name) + ':' + port.data();
}

std::string localAddress(int socket) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return addressText(address, length);
}

} // namespace webservice
