#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Platform {
class DescriptorWatch;
}

namespace TestSupport {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// A request as it came over the wire.
struct HttpRequest {
    /// Every byte of it, headers and body.
    std::string bytes;
    std::string method;
    /// As it stands in the request line: "/path?query".
    std::string target;
    /// In order, names as they were written.
    Headers headers;
    std::string body;
    /// The number of the connection it came on, counted from 0.
    std::size_t connection = 0;

    /// The value of the field of exactly that name (the first one); nil when there is none.
    std::optional<std::string> header(std::string_view name) const;
};

/// What the server sends for one request, and what it does afterwards. A value: make one with a named factory, refine
/// it with the functions that give a changed copy.
class HttpReply {
public:
    /// A response of that status with "Content-Length" first, then `headers`, then the body.
    static HttpReply status(int code, std::string_view body = {}, const Headers& headers = {});
    static HttpReply ok(std::string_view body = {}, const Headers& headers = {}) { return status(200, body, headers); }
    /// As `ok`, with "Content-Type: application/json" behind the length.
    static HttpReply json(std::string_view body);
    /// Exactly these bytes.
    static HttpReply raw(std::string bytes);
    /// Nothing at all: the connection stays open and silent, until the test goes on with `HttpServer::send`.
    static HttpReply silence() { return raw({}); }

    /// Only the first `count` bytes are sent.
    HttpReply cutAfter(std::size_t count) const;
    /// At most `size` bytes are sent in one turn of the loop.
    HttpReply inPiecesOf(std::size_t size) const;
    /// The connection is closed in order once everything is sent.
    HttpReply thenClose() const;
    /// The connection is reset (SO_LINGER of 0 seconds; socket(7)) once everything is sent.
    HttpReply thenReset() const;

    /// What is sent.
    const std::string& bytes() const { return bytes_; }

private:
    friend class HttpServer;
    enum class End { KeepAlive, Close, Reset };

    std::string bytes_;
    std::size_t pieceSize_ = SIZE_MAX;
    End end_ = End::KeepAlive;
};

/// A web server of scripted responses on 127.0.0.1, for tests with real sockets. It is run by the process's run loop
/// (`Platform::RunLoop::main()`, which must be there first and outlive it), so no test needs a lock: run the loop until
/// what you wait for has happened. Requests with a "Content-Length" or without a body are understood; a connection
/// takes its requests one after the other.
class HttpServer {
public:
    using Handler = std::function<HttpReply(const HttpRequest&)>;

    HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    std::uint16_t port() const { return port_; }
    /// "127.0.0.1:PORT".
    std::string host() const;
    /// "http://127.0.0.1:PORT" and `target` ("/path").
    std::string url(std::string_view target) const;

    /// The next request that finds no reply of its own target gets this one; each is used once, in order.
    void enqueue(HttpReply reply);
    /// The next request to `target` gets this one; each is used once, in order, and before those without a target.
    void enqueue(const std::string& target, HttpReply reply);
    /// Responds to each request for which nothing is enqueued. Without a handler that is a status 500 that names the
    /// target.
    void setHandler(Handler handler);

    /// Every request that has come whole, in order.
    const std::vector<HttpRequest>& requests() const { return requests_; }
    /// Empties `requests`.
    void forgetRequests() { requests_ = std::vector<HttpRequest>(); }
    /// How many connections were taken so far, and how many of them are still open on this side.
    std::size_t acceptedConnections() const { return accepted_; }
    std::size_t openConnections() const { return connections_.size(); }
    /// How many of the open ones have sent something that is no whole request yet.
    std::size_t unfinishedRequests() const;

    /// How many bytes of that connection's response wait for the client to take what was sent before.
    std::size_t unsentBytes(std::size_t connection) const;

    /// Sends bytes at once, before the loop goes on; they must fit into the connection.
    void sendNow(std::size_t connection, std::string_view bytes);

    /// Sends more bytes, closes or resets on the connection of that number; no effect on one that is closed.
    void send(std::size_t connection, std::string_view bytes);
    void close(std::size_t connection);
    void reset(std::size_t connection);
    void closeAll();
    /// Takes no further connections: who connects is refused. The port stays bound, so that no other test gets it.
    void stopListening();

private:
    struct Connection;

    void acceptConnection();
    void serve(std::size_t number, std::uint32_t events);
    bool receive(Connection& connection);
    bool takeRequest(Connection& connection, std::size_t number);
    bool flush(Connection& connection);
    HttpReply replyTo(const HttpRequest& request);
    void start(Connection& connection, HttpReply reply);
    void await(Connection& connection);

    int listener_;
    std::uint16_t port_ = 0;
    std::unique_ptr<Platform::DescriptorWatch> watch_;
    std::size_t accepted_ = 0;
    std::map<std::size_t, std::unique_ptr<Connection>> connections_;
    std::vector<HttpRequest> requests_;
    std::deque<HttpReply> replies_;
    std::map<std::string, std::deque<HttpReply>> repliesByTarget_;
    Handler handler_;
};

} // namespace TestSupport
