#include "Support/HttpServer.h"

#include "Platform/Loop/RunLoop.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

namespace {

constexpr std::string_view endOfHeaders = "\r\n\r\n";

int checked(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

std::string_view reason(int code) {
    static const std::map<int, std::string_view> reasons{{200, "OK"},
                                                         {204, "No Content"},
                                                         {206, "Partial Content"},
                                                         {301, "Moved"},
                                                         {302, "Found"},
                                                         {303, "See Other"},
                                                         {304, "Not Modified"},
                                                         {307, "Temporary Redirect"},
                                                         {308, "Permanent Redirect"},
                                                         {401, "Unauthorized"},
                                                         {404, "Not Found"},
                                                         {500, "Internal Server Error"}};
    const auto found = reasons.find(code);
    return found == reasons.end() ? "Status" : found->second;
}

/// The request at the start of `bytes`; nil while it is not whole.
std::optional<HttpRequest> firstRequest(std::string_view bytes) {
    const auto end = bytes.find(endOfHeaders);
    if (end == std::string_view::npos)
        return std::nullopt;
    HttpRequest request;
    std::string_view rest = bytes.substr(0, end + 2);
    const std::string_view line = rest.substr(0, rest.find("\r\n"));
    request.method = line.substr(0, line.find(' '));
    request.target = line.substr(request.method.size() + 1, line.rfind(' ') - request.method.size() - 1);
    rest.remove_prefix(line.size() + 2);
    while (!rest.empty()) {
        const std::string_view field = rest.substr(0, rest.find("\r\n"));
        const auto colon = std::min(field.find(':'), field.size());
        const auto value = std::min(field.find_first_not_of(" \t", colon + 1), field.size());
        request.headers.emplace_back(field.substr(0, colon), field.substr(value));
        rest.remove_prefix(field.size() + 2);
    }
    std::size_t length = 0;
    if (const auto announced = request.header("Content-Length"))
        std::from_chars(announced->data(), announced->data() + announced->size(), length);
    const std::size_t headersLength = end + endOfHeaders.size();
    if (bytes.size() - headersLength < length)
        return std::nullopt;
    request.bytes = bytes.substr(0, headersLength + length);
    request.body = bytes.substr(headersLength, length);
    return request;
}

} // namespace

std::optional<std::string> HttpRequest::header(std::string_view name) const {
    for (const auto& [field, value] : headers) {
        if (field == name)
            return value;
    }
    return std::nullopt;
}

HttpReply HttpReply::status(int code, std::string_view body, const Headers& headers) {
    HttpReply reply;
    ((reply.bytes_ += "HTTP/1.1 " + std::to_string(code) + " ") += reason(code)) += "\r\n";
    reply.bytes_ += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    for (const auto& [name, value] : headers)
        reply.bytes_ += name + ": " + value + "\r\n";
    (reply.bytes_ += "\r\n") += body;
    return reply;
}

HttpReply HttpReply::json(std::string_view body) {
    return ok(body, {{"Content-Type", "application/json"}});
}

HttpReply HttpReply::raw(std::string bytes) {
    HttpReply reply;
    reply.bytes_ = std::move(bytes);
    return reply;
}

HttpReply HttpReply::cutAfter(std::size_t count) const {
    HttpReply reply = *this;
    reply.bytes_.resize(std::min(count, reply.bytes_.size()));
    return reply;
}

HttpReply HttpReply::inPiecesOf(std::size_t size) const {
    HttpReply reply = *this;
    reply.pieceSize_ = size;
    return reply;
}

HttpReply HttpReply::thenClose() const {
    HttpReply reply = *this;
    reply.end_ = End::Close;
    return reply;
}

HttpReply HttpReply::thenReset() const {
    HttpReply reply = *this;
    reply.end_ = End::Reset;
    return reply;
}

struct HttpServer::Connection {
    explicit Connection(int socket) : descriptor(socket) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        watch.reset();
        ::close(descriptor);
    }

    bool isResponding() const { return !toSend.empty() || end != HttpReply::End::KeepAlive; }
    void resetOnClose() const {
        const linger atOnce{1, 0};
        checked(::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), "SO_LINGER");
    }

    int descriptor;
    std::unique_ptr<Platform::DescriptorWatch> watch;
    std::string received;
    std::string toSend;
    std::size_t sent = 0;
    std::size_t pieceSize = SIZE_MAX;
    HttpReply::End end = HttpReply::End::KeepAlive;
};

/// A socket that is bound to the port of 127.0.0.1, or to a free one where `port` is 0.
static int boundSocket(std::uint16_t port) {
    const int descriptor = checked(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket");
    const int on = 1;
    checked(::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "SO_REUSEADDR");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    checked(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    return descriptor;
}

HttpServer::HttpServer() : listener_(boundSocket(0)) {
    checked(::listen(listener_, 64), "listen");
    sockaddr_in address{};
    socklen_t length = sizeof address;
    checked(::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    port_ = ntohs(address.sin_port);
    watch_ = Platform::RunLoop::main().watch(listener_, EPOLLIN, [this](std::uint32_t) { acceptConnection(); });
}

HttpServer::~HttpServer() {
    connections_.clear();
    watch_.reset();
    ::close(listener_);
}

std::string HttpServer::host() const {
    return "127.0.0.1:" + std::to_string(port_);
}

std::string HttpServer::url(std::string_view target) const {
    return ("http://" + host()).append(target);
}

void HttpServer::enqueue(HttpReply reply) {
    replies_.push_back(std::move(reply));
}

void HttpServer::enqueue(const std::string& target, HttpReply reply) {
    repliesByTarget_[target].push_back(std::move(reply));
}

void HttpServer::setHandler(Handler handler) {
    handler_ = std::move(handler);
}

std::size_t HttpServer::unfinishedRequests() const {
    return static_cast<std::size_t>(std::count_if(connections_.begin(), connections_.end(),
                                                  [](const auto& entry) { return !entry.second->received.empty(); }));
}

std::size_t HttpServer::unsentBytes(std::size_t number) const {
    const auto found = connections_.find(number);
    return found == connections_.end() ? 0 : found->second->toSend.size() - found->second->sent;
}

void HttpServer::send(std::size_t number, std::string_view bytes) {
    const auto found = connections_.find(number);
    if (found == connections_.end())
        return;
    found->second->toSend += bytes;
    await(*found->second);
}

void HttpServer::sendNow(std::size_t number, std::string_view bytes) {
    const auto found = connections_.find(number);
    if (found != connections_.end())
        checked(static_cast<int>(::send(found->second->descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL)), "send");
}

void HttpServer::close(std::size_t number) {
    connections_.erase(number);
}

void HttpServer::reset(std::size_t number) {
    const auto found = connections_.find(number);
    if (found == connections_.end())
        return;
    found->second->resetOnClose();
    connections_.erase(found);
}

void HttpServer::closeAll() {
    connections_.clear();
}

void HttpServer::stopListening() {
    watch_.reset();
    ::close(listener_);
    listener_ = boundSocket(port_);
}

void HttpServer::acceptConnection() {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0)
        return; // The client has left again.
    const std::size_t number = accepted_++;
    auto connection = std::make_unique<Connection>(descriptor);
    const int on = 1;
    checked(::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
    connection->watch = Platform::RunLoop::main().watch(
        descriptor, EPOLLIN, [this, number](std::uint32_t events) { serve(number, events); });
    connections_.emplace(number, std::move(connection));
}

void HttpServer::serve(std::size_t number, std::uint32_t events) {
    Connection& connection = *connections_.at(number);
    bool open = (events & (EPOLLIN | EPOLLHUP | EPOLLERR)) == 0 || receive(connection);
    if (open && (events & EPOLLOUT) != 0)
        open = flush(connection);
    while (open && !connection.isResponding() && takeRequest(connection, number)) {
    }
    if (open)
        await(connection);
    else
        connections_.erase(number);
}

bool HttpServer::receive(Connection& connection) {
    std::array<char, 64 << 10> buffer{};
    const auto count = ::recv(connection.descriptor, buffer.data(), buffer.size(), 0);
    if (count > 0)
        connection.received.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EAGAIN);
}

bool HttpServer::takeRequest(Connection& connection, std::size_t number) {
    auto request = firstRequest(connection.received);
    if (!request)
        return false;
    connection.received.erase(0, request->bytes.size());
    request->connection = number;
    requests_.push_back(*request);
    start(connection, replyTo(*request));
    return true;
}

HttpReply HttpServer::replyTo(const HttpRequest& request) {
    const auto take = [](std::deque<HttpReply>& replies) {
        HttpReply reply = std::move(replies.front());
        replies.pop_front();
        return reply;
    };
    if (const auto found = repliesByTarget_.find(request.target);
        found != repliesByTarget_.end() && !found->second.empty())
        return take(found->second);
    if (!replies_.empty())
        return take(replies_);
    if (handler_)
        return handler_(request);
    return HttpReply::status(500, "no response is scripted for " + request.target);
}

void HttpServer::start(Connection& connection, HttpReply reply) {
    connection.toSend = std::move(reply.bytes_);
    connection.sent = 0;
    connection.pieceSize = reply.pieceSize_;
    connection.end = reply.end_;
}

bool HttpServer::flush(Connection& connection) {
    const std::size_t left = connection.toSend.size() - connection.sent;
    if (left > 0) {
        const auto count = ::send(connection.descriptor, connection.toSend.data() + connection.sent,
                                  std::min(left, connection.pieceSize), MSG_NOSIGNAL);
        if (count < 0)
            return errno == EAGAIN;
        connection.sent += static_cast<std::size_t>(count);
        if (connection.sent < connection.toSend.size())
            return true;
    }
    connection.toSend.clear();
    connection.sent = 0;
    connection.pieceSize = SIZE_MAX;
    if (connection.end == HttpReply::End::Reset)
        connection.resetOnClose();
    return connection.end == HttpReply::End::KeepAlive;
}

void HttpServer::await(Connection& connection) {
    connection.watch->setEvents(connection.isResponding() ? EPOLLIN | EPOLLOUT : EPOLLIN);
}

} // namespace TestSupport
