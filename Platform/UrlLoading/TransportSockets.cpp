#include "Platform/UrlLoading/TransportSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace Platform {

namespace {

using EndOf = int (*)(int, sockaddr*, socklen_t*);

/// The text of one end of a socket; "" where it has none.
std::string endOf(int socket, EndOf getName) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (getName(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return {};
    const auto* four = reinterpret_cast<const sockaddr_in*>(&address);
    const auto* six = reinterpret_cast<const sockaddr_in6*>(&address);
    const bool isSix = address.ss_family == AF_INET6;
    const void* bytes = isSix ? static_cast<const void*>(&six->sin6_addr) : &four->sin_addr;
    if (::inet_ntop(address.ss_family, bytes, text.data(), text.size()) == nullptr)
        return {};
    return endpointText(text.data(), ntohs(isSix ? six->sin6_port : four->sin_port));
}

} // namespace

std::string endpointText(std::string_view address, int port) {
    return std::string(address) + ' ' + std::to_string(port);
}

int TransportSockets::open(int family, int type, int protocol) {
    const int socket = ::socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol);
    if (socket < 0)
        return socket;
    try {
        entries_[socket] = Entry();
    } catch (...) {
        ::close(socket);
        throw;
    }
    return socket;
}

int TransportSockets::close(int socket) noexcept {
    entries_.erase(socket);
    return ::close(socket);
}

void TransportSockets::watch(int socket, std::uint32_t events, Transfer* transfer) {
    // libcurl has descriptors of its own besides, such as those that wake it at the end of a name look-up.
    auto& entry = entries_[socket];
    entry.transfer = transfer;
    if (entry.watch)
        entry.watch->setEvents(events);
    else
        entry.watch = loop_.watch(socket, events, [this, socket](std::uint32_t ready) { socketReady(socket, ready); });
}

void TransportSockets::detach(int socket) noexcept {
    if (const auto found = entries_.find(socket); found != entries_.end())
        found->second.transfer = nullptr;
}

void TransportSockets::socketReady(int socket, std::uint32_t events) {
    const auto found = entries_.find(socket);
    if (found == entries_.end())
        return;
    if (Transfer* transfer = found->second.transfer)
        return ready_(socket, *transfer, events);
    // While a response is paused, libcurl waits for no event. Otherwise the server has closed an idle connection or
    // sent unsolicited data: shut it down, and libcurl detects that before reuse.
    found->second.watch.reset();
    if (found->second.user == nullptr)
        ::shutdown(socket, SHUT_RDWR);
}

int TransportSockets::find(std::string_view local, std::string_view peer) {
    for (auto& [socket, entry] : entries_) {
        if (entry.local.empty() || entry.peer.empty()) {
            entry.local = endOf(socket, ::getsockname);
            entry.peer = endOf(socket, ::getpeername);
        }
        if (entry.local == local && entry.peer == peer)
            return socket;
    }
    return -1;
}

bool TransportSockets::isConnectedAndIdle(int socket) {
    char byte = 0;
    return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && (errno == EAGAIN || errno == EINTR);
}

bool TransportSockets::markInUse(int socket, const Transfer& transfer) {
    Entry& entry = entries_.at(socket);
    entry.user = &transfer;
    return std::exchange(entry.used, true);
}

void TransportSockets::markUnused(int socket, const Transfer& transfer) noexcept {
    if (const auto found = entries_.find(socket); found != entries_.end() && found->second.user == &transfer)
        found->second.user = nullptr;
}

} // namespace Platform
