// Any bytes as what a client sends on a connection to the development web service, in any split: what comes back is
// responses of HTTP, at most one for each request that can have begun, and the connection ends when the client ends it.
//
// The first byte of the input says how the rest is split: into pieces of that many bytes, or not at all for 0. A byte
// 0xff in the rest stands for a thousand letters, so that short inputs make long heads, as long as there are not too
// many. There are at most 64 pieces.

#include "WebService/Http/Connection.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/http.hpp>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace webservice;
namespace asio = boost::asio;
namespace http = boost::beast::http;

// Where messages go; what the service logs on standard error is discarded.
const int messages = ::dup(STDERR_FILENO);

void require(bool condition, const char* what) {
    if (!condition) {
        ::dprintf(messages, "%s\n", what);
        std::abort();
    }
}

std::string expanded(std::string_view bytes) {
    constexpr std::size_t longest = 150'000;
    std::string text;
    for (const char byte : bytes) {
        const bool isLong = byte == '\xff' && text.size() < longest;
        text.append(isLong ? 1000 : 1, isLong ? 'a' : byte);
    }
    return text;
}

// Gives back what it received: at once, in three steps, or as a failure, as the path says.
class EchoExchange : public Exchange {
public:
    explicit EchoExchange(std::string_view path) : path_(path) {}

    void receive(std::string_view piece) override {
        require(!piece.empty(), "an empty piece of a body");
        if (body_.size() + piece.size() > 100'000) {
            throw RequestError("TooLong", "the body is too long", 413);
        }
        body_ += piece;
    }
    std::size_t memory() const override { return body_.capacity(); }

    Response finish() override {
        if (path_ == "/fail") {
            throw std::runtime_error(body_);
        }
        Response response;
        response.headers.emplace_back("Echo", body_.substr(0, 100));
        response.body = std::move(body_);
        return response;
    }

    std::optional<Response> step() override {
        return path_ == "/steps" && ++steps_ < 3 ? std::nullopt : std::optional(finish());
    }

private:
    std::string path_;
    std::string body_;
    int steps_ = 0;
};

class EchoApplication : public Application {
public:
    std::unique_ptr<Exchange> begin(const Request& request) override {
        require(!request.method.empty() && !request.target.empty(), "a request without a method or a target");
        for (const auto& [name, value] : request.headers) {
            require(!name.empty() && value.find_first_of("\r\n") == std::string::npos, "a malformed header field");
        }
        methods.push_back(request.method);
        if (request.path() == "/refuse") {
            throw RequestError("InTheWay", "refused", 409);
        }
        return std::make_unique<EchoExchange>(request.path());
    }

    std::vector<std::string> methods; // of the requests that have begun
};

// The server, which outlives its connections.
struct Server {
    asio::io_context context{1};
    EchoApplication application;
    std::shared_ptr<ServerContext> server = std::make_shared<ServerContext>(
        application, Limits{}, context.get_executor(), realTimers(context.get_executor()));
    std::vector<char> piece = std::vector<char>(65536);
};

// The client's end of a connection that is served on this thread.
class Conversation {
public:
    explicit Conversation(Server& server) : server_(server) {
        server_.application.methods.clear();
        std::array<int, 2> ends{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) == 0, "no sockets");
        client_ = Descriptor(ends[0]);
        asio::ip::tcp::socket socket(server_.context);
        socket.assign(asio::ip::tcp::v4(), ends[1]);
        asio::co_spawn(server_.context, serveConnection(std::move(socket), server_.server),
                       [this](const std::exception_ptr& failure) {
                           require(!failure, "an exception has left the connection");
                           hasEnded_ = true;
                       });
    }

    void send(std::string_view bytes) {
        while (!bytes.empty() && !hasEnded_) {
            const ssize_t sent = ::send(client_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            bytes.remove_prefix(sent > 0 ? static_cast<std::size_t>(sent) : 0);
            turn();
        }
    }

    void end() {
        ::shutdown(client_.get(), SHUT_WR);
        for (int turns = 0; !hasEnded_; ++turns) {
            require(turns < 10'000, "the connection does not end");
            turn();
        }
        require(server_.server->clients.count() == 0, "a connection has left something");
    }

    std::string received;

private:
    void turn() {
        server_.context.restart();
        server_.context.poll();
        auto& piece = server_.piece;
        for (ssize_t length = 1; length > 0;) {
            length = ::recv(client_.get(), piece.data(), piece.size(), 0);
            received.append(piece.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
        }
    }

    Server& server_;
    Descriptor client_;
    bool hasEnded_ = false;
};

// Reads one response off the front and gives its status.
int takeResponse(std::string_view& bytes, bool isToHead) {
    http::response_parser<http::string_body> parser;
    parser.eager(true);
    parser.skip(isToHead);
    boost::system::error_code error;
    while (!parser.is_done()) {
        const std::size_t used = parser.put(asio::buffer(bytes), error);
        require(!error, "a response that is not one of HTTP");
        bytes.remove_prefix(used);
    }
    const auto status = parser.get().result_int();
    require(status / 100 == 1 || parser.get().count(http::field::content_length) == 1, "a response without a length");
    return static_cast<int>(status);
}

// What is malformed gets a response, but at most one: its connection ends.
void checkResponses(std::string_view bytes, const std::vector<std::string>& methods, std::string_view sent) {
    require(bytes.empty() || !sent.empty(), "a response to nothing");
    std::size_t responses = 0;
    std::size_t continued = 0;
    while (!bytes.empty()) {
        // What is malformed may be a HEAD.
        const bool isToHead = responses < methods.size() ? methods[responses] == "HEAD" : bytes.ends_with("\r\n\r\n");
        const int status = takeResponse(bytes, isToHead);
        continued += status == 100 ? 1 : 0;
        responses += status == 100 ? 0 : 1;
        require(continued <= methods.size(), "100 Continue without a request");
    }
    require(responses <= methods.size() + 1, "a response without a request");
}

} // namespace

// What is logged is of no interest here, and reports of errors are to stay legible.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    static std::vector<char*> all(*arguments, *arguments + *count);
    static std::string discardStandardError = "-close_fd_mask=2";
    all.push_back(discardStandardError.data());
    *count = static_cast<int>(all.size());
    all.push_back(nullptr);
    *arguments = all.data();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string text = expanded({reinterpret_cast<const char*>(input) + 1, size - 1});
    const std::string_view bytes = text;
    const std::size_t piece = *input == 0 ? bytes.size() : std::max<std::size_t>(*input, bytes.size() / 64);
    static Server server;
    Conversation conversation(server);
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        conversation.send(bytes.substr(at, piece));
    }
    conversation.end();
    checkResponses(conversation.received, server.application.methods, bytes);
    return 0;
}
