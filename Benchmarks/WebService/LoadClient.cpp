#include "LoadClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace Benchmarks {

using webservice::Descriptor;
using webservice::throwErrno;

namespace {

constexpr std::size_t dropSize = 1 << 20; // of a download, at a time
constexpr int eventCount = 256;

double milliseconds(LoadClient::Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// The value of a header field of this spelling.
std::optional<std::string_view> fieldOf(std::string_view headers, std::string_view name) {
    const std::string start = "\r\n" + std::string(name) + ": ";
    const auto found = headers.find(start);
    if (found == std::string_view::npos)
        return std::nullopt;
    headers.remove_prefix(found + start.size());
    return headers.substr(0, headers.find("\r\n"));
}

/// How long the body is, by the header fields of a response, which must have the status 200.
std::uint64_t bodyLength(std::string_view headers) {
    const auto length = fieldOf(headers, "Content-Length");
    if (!headers.starts_with("HTTP/1.1 200 ") || !length)
        throw std::runtime_error("unexpected response: " + std::string(headers));
    return std::stoull(std::string(*length));
}

} // namespace

struct LoadClient::Connection {
    Descriptor socket;
    std::string request;
    std::string received; // of the response
    bool isWaiting = false;
    Clock::time_point due;
    std::size_t skipped = 0;          // requests that became due while it was waiting
    std::uint64_t downloadLeft = 0;   // of the body
    std::uint64_t downloadLength = 0; // what it must have
    bool isDownload = false;
    bool isReceivingBody = false;
};

LoadClient::LoadClient(std::uint16_t port, std::string expected)
    : port_(port), expected_(std::move(expected)), epoll_(::epoll_create1(EPOLL_CLOEXEC)), buffer_(65536) {
    if (!epoll_)
        throwErrno("epoll");
}

LoadClient::~LoadClient() = default;

LoadClient::Connection& LoadClient::open(const std::string& request, bool isDownload) {
    auto connection = std::make_unique<Connection>();
    connection->socket = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    connection->request = request;
    connection->isDownload = isDownload;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    ::setsockopt(connection->socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(connection->socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throwErrno("cannot connect");
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = connection.get();
    if (::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, connection->socket.get(), &event) != 0)
        throwErrno("epoll");
    auto& list = isDownload ? downloads_ : computers_;
    return *list.emplace_back(std::move(connection));
}

void LoadClient::connect(const std::vector<std::string>& requests) {
    for (const auto& request : requests)
        open(request, false);
}

void LoadClient::send(Connection& connection) {
    const ssize_t sent = ::send(connection.socket.get(), connection.request.data(), connection.request.size(),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent != static_cast<ssize_t>(connection.request.size()))
        throwErrno("cannot send a request");
    connection.isWaiting = true;
}

/// Sends the requests that are due. One of a computer that still waits for its response is sent when that has come.
void LoadClient::sendDue(Clock::time_point now, Clock::duration step) {
    while (due_ <= now) {
        Connection& connection = *computers_[next_];
        if (connection.isWaiting) {
            ++connection.skipped;
        } else {
            connection.due = due_;
            result_.worstDelay = std::max(result_.worstDelay, milliseconds(now - due_));
            send(connection);
        }
        due_ += step;
        next_ = (next_ + 1) % computers_.size();
    }
}

LoadClient::Result LoadClient::poll(Clock::duration interval, Clock::duration time,
                                    const std::vector<std::string>& downloads, std::uint64_t downloadLength) {
    result_ = {};
    interval_ = interval;
    const auto step = interval / static_cast<Clock::rep>(computers_.size());
    const auto start = Clock::now();
    due_ = start;
    downloads_.clear();
    downloadsLeft_ = downloads.size();
    for (const auto& request : downloads) {
        Connection& connection = open(request, true);
        connection.downloadLength = downloadLength;
        send(connection);
    }
    while (downloads.empty() ? Clock::now() < start + time : downloadsLeft_ > 0) {
        sendDue(Clock::now(), step);
        waitForEvents(std::max<Clock::duration>(due_ - Clock::now(), Clock::duration::zero()));
    }
    // Whatever is still to be answered counts as well.
    const auto isWaiting = [](const auto& connection) { return connection->isWaiting; };
    while (std::ranges::any_of(computers_, isWaiting))
        waitForEvents(std::chrono::seconds(1));
    result_.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return std::move(result_);
}

LoadClient::Result LoadClient::repeat(Clock::duration time) {
    result_ = {};
    repeats_ = true;
    const auto start = Clock::now();
    for (const auto& connection : computers_) {
        connection->due = Clock::now();
        send(*connection);
    }
    while (Clock::now() < start + time)
        waitForEvents(time);
    repeats_ = false;
    const auto isWaiting = [](const auto& connection) { return connection->isWaiting; };
    while (std::ranges::any_of(computers_, isWaiting))
        waitForEvents(std::chrono::seconds(1));
    result_.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return std::move(result_);
}

void LoadClient::waitForEvents(Clock::duration timeout) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    const timespec limit{.tv_sec = seconds.count(),
                         .tv_nsec = std::chrono::duration_cast<std::chrono::nanoseconds>(timeout - seconds).count()};
    std::array<epoll_event, eventCount> events{};
    const int count = ::epoll_pwait2(epoll_.get(), events.data(), eventCount, &limit, nullptr);
    // What is short comes first, so that a request does not seem to take the time of what is received for others.
    for (const bool isDownload : {false, true}) {
        for (int index = 0; index < count; ++index) {
            auto& connection = *static_cast<Connection*>(events.at(static_cast<std::size_t>(index)).data.ptr);
            if (connection.isDownload == isDownload)
                isDownload ? receiveDownload(connection) : receive(connection);
        }
    }
}

void LoadClient::receive(Connection& connection) {
    const ssize_t count = ::recv(connection.socket.get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
    if (count <= 0)
        throw std::runtime_error("a computer's connection has ended");
    connection.received.append(buffer_.data(), static_cast<std::size_t>(count));
    const auto end = connection.received.find("\r\n\r\n");
    if (end == std::string::npos)
        return;
    const std::string_view headers = std::string_view(connection.received).substr(0, end + 2);
    if (connection.received.size() < end + 4 + bodyLength(headers))
        return;
    if (connection.received.find(expected_, end) == std::string::npos)
        throw std::runtime_error("unexpected response: " + connection.received);
    onResponse(connection);
}

void LoadClient::onResponse(Connection& connection) {
    const auto now = Clock::now();
    result_.latencies.push_back(static_cast<float>(milliseconds(now - connection.due)));
    connection.received.clear();
    connection.isWaiting = false;
    if (repeats_) {
        connection.due = now;
        send(connection);
    } else if (connection.skipped > 0) {
        --connection.skipped;
        connection.due += interval_;
        send(connection);
    }
}

/// The bytes of a body are dropped in the kernel (tcp(7), MSG_TRUNC).
void LoadClient::receiveDownload(Connection& connection) {
    const int socket = connection.socket.get();
    if (connection.isReceivingBody) {
        const ssize_t count = ::recv(socket, nullptr, dropSize, MSG_DONTWAIT | MSG_TRUNC);
        if (count <= 0)
            throw std::runtime_error("a download has ended early");
        connection.downloadLeft -= static_cast<std::uint64_t>(count);
        result_.bytesDropped += static_cast<std::uint64_t>(count);
    } else {
        const ssize_t count = ::recv(socket, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (count <= 0)
            throw std::runtime_error("a download has not begun");
        connection.received.append(buffer_.data(), static_cast<std::size_t>(count));
        const auto end = connection.received.find("\r\n\r\n");
        if (end == std::string::npos)
            return;
        if (bodyLength(connection.received.substr(0, end + 2)) != connection.downloadLength)
            throw std::runtime_error("unexpected download: " + connection.received.substr(0, end));
        connection.isReceivingBody = true;
        const std::uint64_t begun = connection.received.size() - end - 4;
        connection.downloadLeft = connection.downloadLength - begun;
        result_.bytesDropped += begun;
    }
    if (connection.downloadLeft == 0) {
        ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, socket, nullptr);
        --downloadsLeft_;
    }
}

} // namespace Benchmarks
