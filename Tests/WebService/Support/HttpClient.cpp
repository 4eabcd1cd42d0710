#include "Support/HttpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace webservice::test {

HttpClient::HttpClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throwErrno("cannot connect");
}

void HttpClient::waitFor(short events) {
    pollfd waiting{.fd = socket_.get(), .events = events, .revents = 0};
    if (::poll(&waiting, 1, 10'000) != 1)
        throw std::runtime_error("nothing happened on the connection for ten seconds");
}

void HttpClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        waitFor(POLLOUT);
        const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            throwErrno("cannot send");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

bool HttpClient::hasReceived() const {
    pollfd state{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return ::poll(&state, 1, 0) == 1;
}

std::string HttpClient::receiveSome(std::size_t most) {
    waitFor(POLLIN);
    std::string bytes(most, '\0');
    const ssize_t received = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
    return bytes;
}

bool HttpClient::isClosedByPeer() {
    return pending_.empty() && receiveSome(1).empty();
}

std::pair<std::string, bool> HttpClient::receiveToEnd() {
    std::string bytes = std::exchange(pending_, {});
    while (true) {
        waitFor(POLLIN);
        std::array<char, 65536> piece{};
        const ssize_t received = ::recv(socket_.get(), piece.data(), piece.size(), 0);
        if (received <= 0)
            return {bytes, received < 0 && errno == ECONNRESET};
        bytes.append(piece.data(), static_cast<std::size_t>(received));
    }
}

HttpResponse HttpClient::receive() {
    HttpResponse response;
    const auto more = [this] {
        const std::string bytes = receiveSome(65536);
        if (bytes.empty())
            throw std::runtime_error("the connection was closed in the middle of an response");
        pending_ += bytes;
    };
    while (pending_.find("\r\n\r\n") == std::string::npos)
        more();
    const std::size_t end = pending_.find("\r\n\r\n") + 4;
    response.headerText = pending_.substr(0, end);
    pending_.erase(0, end);
    response.status = std::stoi(response.headerText.substr(response.headerText.find(' ') + 1));
    for (std::size_t at = response.headerText.find("\r\n") + 2; response.headerText.substr(at, 2) != "\r\n";) {
        const std::size_t colon = response.headerText.find(": ", at);
        const std::size_t last = response.headerText.find("\r\n", at);
        response.headers[response.headerText.substr(at, colon - at)] =
            response.headerText.substr(colon + 2, last - colon - 2);
        at = last + 2;
    }
    const std::size_t length = response.status == 100 ? 0 : std::stoull(response.headers.at("Content-Length"));
    while (pending_.size() < length)
        more();
    response.body = pending_.substr(0, length);
    pending_.erase(0, length);
    return response;
}

HttpResponse HttpClient::exchange(std::string_view method, std::string_view target, std::string_view body,
                                  std::string_view headers) {
    std::string request;
    request.append(method).append(" ").append(target).append(" HTTP/1.1\r\nHost: localhost\r\n").append(headers);
    request.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
    send(request);
    return receive();
}

HttpResponse HttpClient::post(std::string_view operation, std::string_view json) {
    return exchange("POST", "/QuenmarkRestService/" + std::string(operation), json,
                    "Content-Type: application/json\r\n");
}

void HttpClient::endInput() {
    ::shutdown(socket_.get(), SHUT_WR);
}

void HttpClient::reset() {
    const linger now{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket_.close();
}

namespace {

/// Counts the lines of /proc/net/tcp, which has the local port and the state at fixed places (proc(5)).
int countInState(std::uint16_t port, std::string_view state) {
    std::array<char, 5> local{};
    std::snprintf(local.data(), local.size(), "%04X", port);
    std::ifstream table("/proc/net/tcp");
    int count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number;
        std::string address;
        std::string peer;
        std::string found;
        words >> number >> address >> peer >> found;
        count += address.ends_with(std::string(":") + local.data()) && found == state ? 1 : 0;
    }
    return count;
}

} // namespace

int connectionsInCloseWait(std::uint16_t port) {
    constexpr std::string_view closeWait = "08";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    int count = countInState(port, closeWait);
    while (count != 0 && std::chrono::steady_clock::now() < deadline) {
        ::poll(nullptr, 0, 10);
        count = countInState(port, closeWait);
    }
    return count;
}

} // namespace webservice::test
