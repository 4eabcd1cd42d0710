#include "WebService/Http/Connection.h"

#include "WebService/Common/Log.h"
#include "WebService/Http/ClientSocket.h"
#include "WebService/Http/ParsedRequest.h"
#include "WebService/Http/RequestLog.h"
#include "WebService/Http/Transmitter.h"

#include <boost/beast/http.hpp>

#include <algorithm>

namespace webservice {

namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::asio::awaitable;
using boost::asio::ip::tcp;
using boost::system::error_code;
using Phase = Client::Phase;

constexpr std::size_t maxHeaderSize = 65536;
constexpr std::size_t maxSmallBody = 65536; // of a request with an error; read to its end, to keep the connection

/// Whether a request line ends in another version of HTTP than 1.0 and 1.1 (RFC 9112, section 2.3).
bool namesAnotherVersion(std::string_view requestLine) {
    constexpr std::string_view form = " HTTP/d.d";
    const auto fits = [](char expected, char c) { return expected == 'd' ? c >= '0' && c <= '9' : c == expected; };
    const std::string_view end = requestLine.substr(requestLine.size() - std::min(requestLine.size(), form.size()));
    return std::ranges::equal(form, end, fits) && end != " HTTP/1.0" && end != " HTTP/1.1";
}

int statusOf(const error_code& error, std::string_view input) {
    if (error == http::error::header_limit)
        return 431;
    return error == http::error::bad_version && namesAnotherVersion(input.substr(0, input.find("\r\n"))) ? 505 : 400;
}

/// Receives the rest of the body of a request with an error, which is short, and gives the response.
class ErrorExchange : public Exchange {
public:
    explicit ErrorExchange(Response response) : response_(std::move(response)) {}
    void receive(std::string_view) override {}
    Response finish() override { return std::move(response_); }

private:
    Response response_;
};

RequestError internalError(const std::string& what) {
    logLine("a request failed: " + what);
    return {"InternalError", what, 500};
}

class Connection {
public:
    Connection(tcp::socket socket, std::shared_ptr<ServerContext> server)
        : server_(std::move(server)),
          client_(std::move(socket), std::shared_ptr<Clients>(server_, &server_->clients), server_->identity.get()) {}

    awaitable<void> serve() {
        co_await client_.handshake();
        while (keepAlive_)
            co_await serveRequest();
        co_await linger();
    }

private:
    using Parser = RequestParser;

    awaitable<void> serveRequest() {
        Parser parser;
        parser.header_limit(maxHeaderSize);
        parser.body_limit(boost::none);
        std::optional<RequestError> malformed;
        try {
            co_await receiveHeaders(parser);
        } catch (const RequestError& error) {
            malformed = error;
        } catch (const Disconnected&) {
            if (client_.phase() == Phase::Headers)
                const RequestLog unfinished(client_);
            throw;
        }
        RequestLog line(client_);
        try {
            co_await respondAndSend(parser, malformed, line);
        } catch (...) {
            line.end();
            throw;
        }
        line.end();
    }

    awaitable<void> respondAndSend(Parser& parser, const std::optional<RequestError>& malformed, RequestLog& line) {
        Response response;
        try {
            if (malformed) {
                line.recorder = server_->application.record(partialRequest(parser), client_.peer());
                throw RequestError(*malformed);
            }
            response = co_await respond(parser, line);
            keepAlive_ = parser.keep_alive();
        } catch (const RequestError& error) {
            response = failed(parser, error);
        } catch (const Disconnected&) {
            throw;
        } catch (const std::exception& failure) {
            response = failed(parser, internalError(failure.what()));
        } catch (...) {
            response = failed(parser, internalError("an error without a text"));
        }
        line.status = response.status;
        line.isComplete = co_await send(std::move(response), parser.get().method() == http::verb::head, line);
    }

    /// The rest of the request is not read, so nothing more can be understood on this connection.
    Response failed(const Parser& parser, const RequestError& error) {
        keepAlive_ = false;
        return server_->application.errorFor(partialRequest(parser), error);
    }

    awaitable<void> receiveHeaders(Parser& parser) {
        co_await skipEmptyLine();
        while (!parser.is_header_done()) {
            if (!parse(parser))
                co_await receiveMoreHeaders();
        }
    }

    /// Some clients send one after the body of the previous request (RFC 9112, section 2.2).
    awaitable<void> skipEmptyLine() {
        constexpr std::string_view emptyLine = "\r\n";
        client_.enter(client_.input().size() == 0 ? Phase::Idle : Phase::Headers);
        while (client_.received().size() < emptyLine.size() && emptyLine.starts_with(client_.received()))
            co_await receiveMoreHeaders();
        if (client_.received().starts_with(emptyLine)) {
            client_.input().consume(emptyLine.size());
            client_.enter(client_.input().size() == 0 ? Phase::Idle : Phase::Headers);
        }
    }

    /// A client that has disconnected before the end of the headers gets no response.
    awaitable<void> receiveMoreHeaders() {
        const bool isIdle = client_.phase() == Phase::Idle;
        if (!co_await client_.receiveMore()) {
            if (client_.hasExpired() && !isIdle)
                throw badRequest(408, "the request line and headers did not arrive in time");
            throw Disconnected{};
        }
        if (isIdle)
            client_.enter(Phase::Headers);
    }

    /// Passes the input to the parser; false when it needs more.
    bool parse(Parser& parser) {
        if (client_.input().size() == 0)
            return false;
        error_code error;
        client_.input().consume(parser.put(client_.input().cdata(), error));
        if (error == http::error::need_more) {
            if (client_.input().size() > maxHeaderSize)
                throw badRequest(400, "a line is too long");
            return false;
        }
        if (error && error != http::error::need_buffer)
            throw badRequest(statusOf(error, client_.received()), error.message());
        return true;
    }

    awaitable<Response> respond(Parser& parser, RequestLog& line) {
        const Request request = requestOf(parser, client_);
        line.method = request.method;
        line.path = request.path();
        line.recorder = server_->application.record(request, client_.peer());
        const bool expectsContinue = checkExpectation(parser);
        checkFraming(parser);
        const auto exchange = begin(parser, request, expectsContinue);
        if (expectsContinue && !parser.is_done() && client_.input().size() == 0) {
            client_.enter(Phase::Response);
            co_await client_.send("HTTP/1.1 100 Continue\r\n\r\n");
        }
        co_await receiveBody(parser, *exchange, line.recorder.get());
        co_return co_await responseOf(*exchange);
    }

    /// The loop runs between two steps, so that the work of one request delays neither the others nor the end of the
    /// process.
    awaitable<Response> responseOf(Exchange& exchange) {
        if (!client_.hasMemoryToWork())
            throw RequestError("Busy", "too many long requests are being worked on; try again", 503);
        client_.enter(Phase::Working);
        std::optional<Response> response = co_await step(exchange);
        while (!response) {
            co_await client_.pause();
            response = co_await step(exchange);
        }
        co_return std::move(*response);
    }

    /// Does a step, and waits until what it has changed is stored, together with the changes of the other requests that
    /// are ready by now: a response says nothing that the end of the process could still undo. An error may have undone
    /// the changes of the others, which therefore learn of it before anything else is done.
    awaitable<std::optional<Response>> step(Exchange& exchange) {
        const auto group = server_->groups.join();
        std::optional<Response> response;
        std::exception_ptr failure;
        try {
            response = exchange.step();
        } catch (...) {
            failure = std::current_exception();
        }
        if (!failure)
            co_await client_.yield();
        server_->groups.end(*group);
        if (failure || group->failure)
            std::rethrow_exception(failure ? failure : group->failure);
        co_return response;
    }

    /// For a request whose request line or headers are malformed or too long: what the parser has from before the
    /// error. Where that is the request line itself, the target is the second word of it.
    Request partialRequest(const Parser& parser) const {
        Request request = requestOf(parser, client_);
        if (request.target.empty()) {
            const std::string_view line = client_.received().substr(0, client_.received().find_first_of("\r\n"));
            const std::string_view target = line.substr(std::min(line.find(' ') + 1, line.size()));
            request.target = target.substr(0, target.find(' '));
        }
        return request;
    }

    std::unique_ptr<Exchange> begin(const Parser& parser, const Request& request, bool expectsContinue) {
        try {
            return server_->application.begin(request);
        } catch (const RequestError& error) {
            if (parser.chunked() || parser.content_length().value_or(0) > maxSmallBody || expectsContinue)
                throw;
            return std::make_unique<ErrorExchange>(server_->application.errorFor(request, error));
        }
    }

    awaitable<void> receiveBody(Parser& parser, Exchange& exchange, RequestRecorder* recorder) {
        parser.eager(true);
        client_.enter(Phase::Body);
        auto& piece = server_->piece;
        while (!parser.is_done()) {
            auto& body = parser.get().body();
            body.data = piece.data();
            body.size = piece.size();
            const bool isEnough = parse(parser);
            if (body.size < piece.size()) {
                const std::string_view received(piece.data(), piece.size() - body.size);
                if (recorder != nullptr)
                    recorder->received(received);
                exchange.receive(received);
                client_.setBodyMemory(exchange.memory());
            }
            if (!isEnough && !co_await client_.receiveMore())
                throw Disconnected{};
        }
    }

    /// Gives whether the whole response was sent. The response to HEAD has a Content-Length and no body (RFC 9110,
    /// section 9.3.2).
    awaitable<bool> send(Response response, bool hasNoBody, const RequestLog& line) {
        keepAlive_ = keepAlive_ && !response.events;
        std::string header = headerSection(response, keepAlive_);
        if (line.recorder)
            line.recorder->responding(response, header, hasNoBody && !response.transmission, line);
        if (response.transmission)
            co_return co_await sendOtherwise(std::move(response), std::move(header));
        client_.enter(Phase::Response);
        if (hasNoBody) {
            co_await client_.send(header);
        } else if (response.events) {
            co_await client_.send(header);
            co_await sendEvents(client_, *response.events);
        } else if (response.file) {
            client_.setBodyMemory(0);
            co_await client_.send(header);
            co_await sendFile(*response.file);
        } else {
            client_.setBodyMemory(response.body.size());
            if (response.body.size() <= server_->piece.size()) {
                header += response.body;
                response.body.clear();
            }
            co_await client_.send(header);
            co_await client_.send(response.body);
        }
        client_.setBodyMemory(0);
        co_return true;
    }

    /// The header fields do not announce that the connection ends afterwards.
    awaitable<bool> sendOtherwise(Response response, std::string header) {
        if (response.transmission->cut || !keepsFraming(*response.transmission))
            keepAlive_ = false;
        return transmit(client_, *server_->timers, std::move(response), std::move(header), server_->piece);
    }

    awaitable<void> sendFile(FileSlice& slice) {
        while (slice.length > 0) {
            co_await server_->turns.next();
            const std::string_view bytes = slice.read(server_->piece);
            if (bytes.empty())
                throw Disconnected{};
            slice.removePrefix(co_await client_.sendSome(bytes));
        }
    }

    /// Closing a socket with unread input would reset the connection, and the client could lose the response (RFC 9112,
    /// section 9.6).
    awaitable<void> linger() {
        client_.enter(Phase::Lingering);
        client_.shutdownOutput();
        std::size_t discarded = 0;
        do {
            discarded += client_.input().size();
            client_.input().clear();
        } while (discarded <= client_.limits().maxDrain && co_await client_.receiveMore());
    }

    std::shared_ptr<ServerContext> server_;
    ClientSocket client_;
    bool keepAlive_ = true;
};

} // namespace

awaitable<void> serveConnection(tcp::socket socket, std::shared_ptr<ServerContext> server) {
    Connection connection(std::move(socket), std::move(server));
    try {
        co_await connection.serve();
    } catch (const Disconnected&) {
        // Where a request had begun, its line of the log says so.
    }
}

} // namespace webservice
