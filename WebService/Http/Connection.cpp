#include "WebService/Http/Connection.h"

#include "WebService/Http/Listener.h"
#include "WebService/Log.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

namespace webservice {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using namespace std::chrono_literals;
using asio::awaitable;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t longestHead = 65536;
constexpr std::size_t pieceSize = 65536;
constexpr std::size_t shortBody = 65536;         // read to the end for the sake of the connection, though refused
constexpr std::size_t mostDiscarded = 256 << 20; // of a refused body, before the connection is cut
constexpr auto longestStillness = 90s;
constexpr auto longestLinger = 2s;

// The client has gone, or will not be waited for any longer.
struct Ended {};

// The line that the log gets when a request is done with, in whatever way.
class LogLine {
public:
    explicit LogLine(std::string peer) : peer_(std::move(peer)) {}
    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;
    ~LogLine() {
        const std::chrono::duration<double, std::milli> time = Clock::now() - started_;
        std::array<char, 64> numbers{};
        std::snprintf(numbers.data(), numbers.size(), " %d %llu %.1fms", status, static_cast<unsigned long long>(bytes),
                      time.count());
        logLine(peer_ + ' ' + method + ' ' + path + numbers.data() + (isWhole ? "" : " cut short"));
    }

    std::string method = "-";
    std::string path = "-";
    int status = 0;
    std::uint64_t bytes = 0;
    bool isWhole = false;

private:
    std::string peer_;
    Clock::time_point started_ = Clock::now();
};

int statusOf(const error_code& error) {
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        return 431;
    }
    return error == http::error::bad_version ? 505 : 400;
}

// Answers a refused request once its body, which is short, has been read.
class RefusedExchange : public Exchange {
public:
    explicit RefusedExchange(Response response) : response_(std::move(response)) {}
    void receive(std::string_view) override {}
    Response finish() override { return std::move(response_); }

private:
    Response response_;
};

Refused badRequest(int status, const std::string& why) {
    return Refused{errorResponse(status, "BadRequest", why)};
}

class Connection {
public:
    Connection(tcp::socket socket, Application& application) : stream_(std::move(socket)), application_(application) {
        error_code error;
        stream_.socket().set_option(tcp::no_delay(true), error);
        peer_ = addressText(stream_.socket().remote_endpoint(error));
    }

    awaitable<void> serve() {
        while (keepAlive_) {
            co_await serveRequest();
        }
        co_await linger();
    }

private:
    using Parser = http::request_parser<http::buffer_body>;

    awaitable<void> serveRequest() {
        Parser parser;
        parser.header_limit(longestHead);
        parser.body_limit(boost::none);
        error_code error;
        stream_.expires_after(longestStillness);
        co_await passOverEmptyLine();
        co_await http::async_read_header(stream_, input_, parser, asio::redirect_error(asio::use_awaitable, error));
        endWhereGone(error);
        LogLine line(peer_);
        Response response;
        try {
            if (error) {
                throw badRequest(statusOf(error), error.message());
            }
            response = co_await answer(parser, line);
            keepAlive_ = parser.keep_alive();
        } catch (Refused& refused) {
            // The rest of the request is not read, so nothing more can be understood on this connection.
            keepAlive_ = false;
            response = std::move(refused.response);
        } catch (const std::exception& failure) {
            logLine(std::string("a request failed: ") + failure.what());
            keepAlive_ = false;
            response = errorResponse(500, "InternalError", failure.what());
        }
        co_await send(std::move(response), line);
        line.isWhole = true;
    }

    // Some clients send one behind the body of the request before (RFC 9112, section 2.2).
    awaitable<void> passOverEmptyLine() {
        constexpr std::string_view emptyLine = "\r\n";
        error_code error;
        while (!error && input_.size() < emptyLine.size() && emptyLine.starts_with(received())) {
            const auto count = co_await stream_.async_read_some(input_.prepare(longestHead),
                                                                asio::redirect_error(asio::use_awaitable, error));
            input_.commit(count);
        }
        endWhereGone(error);
        if (received().starts_with(emptyLine)) {
            input_.consume(emptyLine.size());
        }
    }

    std::string_view received() const { return {static_cast<const char*>(input_.data().data()), input_.size()}; }

    awaitable<Response> answer(Parser& parser, LogLine& line) {
        const RequestHead head = headOf(parser);
        line.method = head.method;
        line.path = head.path();
        const bool expectsContinue = checkExpectation(parser);
        checkFraming(parser);
        const auto exchange = begin(parser, head, expectsContinue);
        if (expectsContinue && !parser.is_done() && input_.size() == 0) {
            http::response<http::empty_body> goOn(http::status::continue_, 11);
            co_await http::async_write(stream_, goOn, asio::use_awaitable);
        }
        co_await receiveBody(parser, *exchange);
        co_return co_await responseOf(*exchange);
    }

    // The loop turns between two steps, so that no request's work keeps the others, or the end of the process, waiting.
    awaitable<Response> responseOf(Exchange& exchange) {
        std::optional<Response> response = exchange.step();
        while (!response) {
            co_await asio::post(stream_.get_executor(), asio::use_awaitable);
            response = exchange.step();
        }
        co_return std::move(*response);
    }

    static RequestHead headOf(const Parser& parser) {
        const auto& message = parser.get();
        RequestHead head{.method = message.method_string(), .target = message.target(), .headers = {}};
        for (const auto& field : message) {
            head.headers.emplace_back(field.name_string(), field.value());
        }
        return head;
    }

    static bool checkExpectation(const Parser& parser) {
        const auto expectation = parser.get()[http::field::expect];
        if (!expectation.empty() && !beast::iequals(expectation, "100-continue")) {
            throw badRequest(417, "the only expectation met here is 100-continue");
        }
        return !expectation.empty();
    }

    // A transfer coding that does not end in "chunked" leaves the end of the body unknown (RFC 9112, 6.3).
    static void checkFraming(const Parser& parser) {
        if (parser.get().count(http::field::transfer_encoding) != 0 &&
            !beast::iequals(parser.get()[http::field::transfer_encoding], "chunked")) {
            throw badRequest(501, "the only Transfer-Encoding known here is chunked");
        }
    }

    std::unique_ptr<Exchange> begin(const Parser& parser, const RequestHead& head, bool expectsContinue) {
        try {
            return application_.begin(head);
        } catch (Refused& refused) {
            if (parser.chunked() || parser.content_length().value_or(0) > shortBody || expectsContinue) {
                throw;
            }
            return std::make_unique<RefusedExchange>(std::move(refused.response));
        }
    }

    awaitable<void> receiveBody(Parser& parser, Exchange& exchange) {
        while (!parser.is_done()) {
            auto& body = parser.get().body();
            body.data = piece_.data();
            body.size = piece_.size();
            error_code error;
            stream_.expires_after(longestStillness);
            co_await http::async_read(stream_, input_, parser, asio::redirect_error(asio::use_awaitable, error));
            if (error == http::error::need_buffer) {
                error.clear();
            }
            endWhereGone(error);
            if (error) {
                throw badRequest(statusOf(error), error.message());
            }
            exchange.receive({piece_.data(), piece_.size() - body.size});
        }
    }

    // What is left to answer is an error of the request's own.
    static void endWhereGone(const error_code& error) {
        const bool isMalformed = error && error.category() == make_error_code(http::error::bad_method).category() &&
                                 error != http::error::end_of_stream && error != http::error::partial_message;
        if (error && !isMalformed) {
            throw Ended{};
        }
    }

    template <class Body>
    http::response<Body> messageOf(const Response& response, std::uint64_t length) const {
        http::response<Body> message(http::int_to_status(static_cast<unsigned>(response.status)), 11);
        for (const auto& [name, value] : response.headers) {
            message.insert(name, value);
        }
        message.content_length(length);
        message.keep_alive(keepAlive_);
        return message;
    }

    awaitable<void> send(Response response, LogLine& line) {
        line.status = response.status;
        if (!response.file) {
            auto message = messageOf<http::string_body>(response, response.body.size());
            message.body() = std::move(response.body);
            co_await write(message, line);
        } else {
            auto message = messageOf<http::empty_body>(response, response.file->length);
            co_await write(message, line);
            co_await sendFile(*response.file, line);
        }
    }

    template <class Message>
    awaitable<void> write(Message& message, LogLine& line) {
        error_code error;
        stream_.expires_after(longestStillness);
        line.bytes += co_await http::async_write(stream_, message, asio::redirect_error(asio::use_awaitable, error));
        if (error) {
            throw Ended{};
        }
    }

    awaitable<void> sendFile(FileSlice& slice, LogLine& line) {
        while (slice.length > 0) {
            const std::size_t size = std::min<std::uint64_t>(piece_.size(), slice.length);
            const ssize_t length = ::pread(slice.file.get(), piece_.data(), size, static_cast<off_t>(slice.offset));
            if (length <= 0 || (static_cast<std::uint64_t>(length) == slice.length && hasChanged(slice))) {
                throw Ended{};
            }
            error_code error;
            stream_.expires_after(longestStillness);
            const std::size_t sent =
                co_await asio::async_write(stream_, asio::buffer(piece_, static_cast<std::size_t>(length)),
                                           asio::redirect_error(asio::use_awaitable, error));
            line.bytes += sent;
            if (error) {
                throw Ended{};
            }
            slice.offset += sent;
            slice.length -= sent;
        }
    }

    static bool hasChanged(const FileSlice& slice) {
        struct stat status {};
        return ::fstat(slice.file.get(), &status) != 0 || identityOf(status) != slice.identity;
    }

    // Closing with unread input would reset the connection and take the answer from a client that has not read it yet.
    awaitable<void> linger() {
        error_code error;
        stream_.socket().shutdown(tcp::socket::shutdown_send, error);
        std::size_t discarded = 0;
        while (!error && discarded <= mostDiscarded) {
            stream_.expires_after(longestLinger);
            discarded += co_await stream_.async_read_some(asio::buffer(piece_),
                                                          asio::redirect_error(asio::use_awaitable, error));
        }
    }

    beast::tcp_stream stream_;
    Application& application_;
    std::string peer_;
    beast::flat_buffer input_;
    std::vector<char> piece_ = std::vector<char>(pieceSize);
    bool keepAlive_ = true;
};

} // namespace

awaitable<void> serveConnection(tcp::socket socket, Application& application) {
    Connection connection(std::move(socket), application);
    try {
        co_await connection.serve();
    } catch (const Ended&) {
        // Its log line, if a request had begun, says that it was cut short.
    }
}

} // namespace webservice
