#include "WebService/Http/Server.h"

#include "WebService/Http/Listener.h"
#include "WebService/Log.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace webservice {

namespace {

constexpr std::size_t mostConnections = 1000;

} // namespace

Server::Server(EventLoop& loop, Application& application, Descriptor listener)
    : loop_(loop), application_(application), listener_(std::move(listener)) {
    loop_.watch(listener_.get(), EPOLLIN, [this](std::uint32_t) { accept(); });
}

Server::~Server() {
    for (const auto& [fd, entry] : connections_) {
        loop_.forget(fd);
    }
    loop_.forget(listener_.get());
}

void Server::accept() {
    while (connections_.size() < mostConnections) {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        Descriptor socket(
            ::accept4(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket) {
            if (errno == ECONNABORTED || errno == EINTR) {
                continue;
            }
            if (errno == EAGAIN) {
                return;
            }
            logLine("cannot accept a connection: " + std::generic_category().message(errno));
            break;
        }
        const int on = 1;
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const int fd = socket.get();
        connections_[fd] = {
            std::make_unique<Connection>(std::move(socket), addressText(address, length), application_, buffer_),
            Connection::Wait::Input};
        loop_.watch(fd, EPOLLIN, [this, fd](std::uint32_t) { advance(fd); });
    }
    full_ = true;
    loop_.change(listener_.get(), 0);
}

void Server::advance(int fd) {
    Entry& entry = connections_.at(fd);
    Connection::Wait wait = Connection::Wait::Nothing;
    try {
        wait = entry.connection->advance();
    } catch (const std::exception& error) {
        logLine(std::string("a connection failed: ") + error.what());
    }
    if (wait == Connection::Wait::Nothing) {
        return end(fd);
    }
    if (wait != entry.wait) {
        entry.wait = wait;
        loop_.change(fd, wait == Connection::Wait::Input ? EPOLLIN : EPOLLOUT);
    }
}

void Server::end(int fd) {
    loop_.forget(fd);
    connections_.erase(fd);
    if (full_) {
        full_ = false;
        loop_.change(listener_.get(), EPOLLIN);
    }
}

void Server::sweep() {
    std::vector<int> stale;
    for (const auto& [fd, entry] : connections_) {
        if (entry.connection->isStale(Connection::Clock::now())) {
            stale.push_back(fd);
        }
    }
    for (const int fd : stale) {
        end(fd);
    }
    if (full_) {
        full_ = false;
        loop_.change(listener_.get(), EPOLLIN);
    }
}

} // namespace webservice
