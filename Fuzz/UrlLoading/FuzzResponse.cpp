// Any bytes as a response of a web server, over real sockets and kept connections. The next request on the way gets
// the response that was sent for it, whatever lay on the connection before, and no request is sent twice.
//
// The first byte of an input says over which interface the request goes and whether the server closes the connection;
// the rest up to a byte 0x01 is the response, and what follows is sent behind it, before the next request.

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/UrlLoading/UrlConnection.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace Platform;

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

/// Responds to each request with the bytes that are set for it.
class Server {
public:
    Server() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* name = reinterpret_cast<sockaddr*>(&address);
        require(::bind(listener_.get(), name, length) == 0 && ::listen(listener_.get(), 64) == 0 &&
                    ::getsockname(listener_.get(), name, &length) == 0,
                "no server");
        port_ = ntohs(address.sin_port);
        watch_ = RunLoop::main().watch(listener_.get(), EPOLLIN, [this](std::uint32_t) { acceptConnection(); });
    }

    std::string response;
    std::size_t requests = 0;

    Url url() const { return *Url::fromString("http://127.0.0.1:" + std::to_string(port_) + "/"); }
    /// Sends to whoever is connected.
    void send(std::string_view bytes) {
        for (const auto& [number, connection] : connections_)
            static_cast<void>(::send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    }
    void closeAll() { connections_.clear(); }

private:
    struct Connection {
        FileDescriptor socket;
        std::unique_ptr<DescriptorWatch> watch;
        std::string received;
    };

    void acceptConnection() {
        FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket)
            return;
        const int number = socket.get();
        // What is sent is there at once; bytes that are on the way cannot be told from a response.
        const int on = 1;
        ::setsockopt(number, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        auto watch = RunLoop::main().watch(number, EPOLLIN, [this, number](std::uint32_t) { receive(number); });
        connections_.insert_or_assign(number, Connection{std::move(socket), std::move(watch), {}});
    }
    void receive(int number) {
        std::array<char, 4096> piece{};
        const auto count = ::recv(number, piece.data(), piece.size(), 0);
        std::string& received = connections_.at(number).received;
        received.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count <= 0) {
            connections_.erase(number);
        } else if (received.ends_with("\r\n\r\n{}")) {
            received.clear();
            ++requests;
            static_cast<void>(::send(number, response.data(), response.size(), MSG_NOSIGNAL));
        }
    }

    FileDescriptor listener_;
    std::uint16_t port_ = 0;
    std::unique_ptr<DescriptorWatch> watch_;
    std::map<int, Connection> connections_;
};

struct Outcome {
    bool done = false;
    std::string body;
    std::optional<Error> error;
};

class Gatherer final : public UrlSessionDelegate {
public:
    explicit Gatherer(Outcome& outcome) : outcome_(outcome) {}
    void URLSessionDataTaskDidReceiveData(UrlSession&, UrlSessionTask& task, std::string_view data) override {
        require(task.response() != nullptr, "data without a response");
        outcome_.body += data;
    }
    void URLSessionTaskDidCompleteWithError(UrlSession&, UrlSessionTask&, const std::optional<Error>& error) override {
        require(!outcome_.done, "two ends");
        outcome_.done = true;
        outcome_.error = error;
    }

private:
    Outcome& outcome_;
};

void load(const Server& server, unsigned interface, Outcome& outcome) {
    UrlRequest request;
    request.url = server.url();
    request.httpMethod = "POST";
    request.httpBody = "{}";
    const auto end = [&outcome](std::optional<Data> data, std::optional<Error> error) {
        require(!outcome.done, "two ends");
        require(data.has_value() != error.has_value(), "neither data nor an error, or both");
        outcome = {true, std::move(data).value_or(""), std::move(error)};
    };
    if (interface == 0)
        UrlSession::sessionWithConfiguration({})
            ->dataTaskWithRequest(std::move(request),
                                  [end](auto data, auto, auto error) { end(std::move(data), std::move(error)); })
            ->resume();
    else if (interface == 1)
        UrlSession::sessionWithConfiguration({}, std::make_shared<Gatherer>(outcome))
            ->dataTaskWithRequest(std::move(request))
            ->resume();
    else
        UrlConnection::sendAsynchronousRequest(std::move(request), Queue::main(), [end](auto, auto data, auto error) {
            end(std::move(data), std::move(error));
        });
}

/// A redirect could lead anywhere.
bool namesPlace(std::string_view input) {
    constexpr std::string_view field = "location";
    return std::search(input.begin(), input.end(), field.begin(), field.end(), [](char one, char other) {
               return (static_cast<unsigned char>(one) | 0x20U) == static_cast<unsigned char>(other);
           }) != input.end();
}

void settle(RunLoop& loop) {
    for (int turn = 0; turn < 3; ++turn)
        loop.runOnce(Duration::zero());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    static ManualClock clock;
    static RunLoop loop(clock);
    static Server server;
    static const bool silent = (Log::setSink([](std::string_view) {}), true);
    static std::uint64_t runs = 0;

    const std::string_view bytes(reinterpret_cast<const char*>(input), size);
    if (!silent || bytes.empty() || bytes.size() > 16'000 || namesPlace(bytes))
        return 0;
    const auto end = std::min(bytes.find('\x01', 1), bytes.size());
    const unsigned flags = input[0];
    server.requests = 0;
    server.response = bytes.substr(1, end - 1);

    Outcome first;
    load(server, flags % 3, first);
    require(loop.runUntil([] { return server.requests > 0; }), "the request does not come");
    settle(loop);
    if (!first.done || (flags & 0x80U) != 0)
        server.closeAll();
    require(loop.runUntil([&] { return first.done; }), "the first request does not end");
    if (end < bytes.size())
        server.send(bytes.substr(end + 1));

    const std::string marker = "asked " + std::to_string(++runs);
    server.response = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(marker.size()) + "\r\n\r\n" + marker;
    Outcome second;
    load(server, flags / 3 % 3, second);
    require(loop.runUntil([&] { return second.done; }), "the second request does not end");
    require(!second.error, "the second request failed");
    require(second.body == marker, "the second request got what was not sent for it");
    require(server.requests == 2, "a request was sent twice");
    return 0; // The connection is as good as new, and serves the next input.
}
