#include "Support/SlowClients.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

namespace webservice::test {

SlowClients::SlowClients(std::uint16_t port, int count, std::string_view bytes) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int window = 4096;
    for (int i = 0; i < count; ++i) {
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
        if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throwErrno("cannot connect");
        sockets_.push_back(std::move(socket));
    }
    send(bytes);
}

/// What cannot be sent at once, or not any more, is not sent.
void SlowClients::send(std::string_view bytes) const {
    for (const Descriptor& socket : sockets_)
        [[maybe_unused]] const auto sent =
            ::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void SlowClients::waitForResponses() const {
    for (const Descriptor& socket : sockets_) {
        pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
        if (::poll(&waiting, 1, 60'000) != 1)
            throw std::runtime_error("a response has not come for a minute");
    }
}

int SlowClients::closed() const {
    int count = 0;
    for (const Descriptor& socket : sockets_) {
        pollfd state{.fd = socket.get(), .events = POLLRDHUP, .revents = 0};
        count += ::poll(&state, 1, 0) == 1 ? 1 : 0;
    }
    return count;
}

void allowOpenFiles(std::size_t limit) {
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::min<rlim_t>(limit, files.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &files);
}

} // namespace webservice::test
