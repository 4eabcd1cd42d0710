#include "WebService/Http/Connection.h"

#include "WebService/Log.h"

#include <sys/sendfile.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestHead = 65536;
constexpr std::size_t pieceSize = 1 << 20;
constexpr std::size_t shortBody = 65536;         // read to the end for the sake of the connection, though refused
constexpr std::size_t mostDiscarded = 256 << 20; // of a refused body, before the connection is cut
constexpr int stepsAtOnce = 32;                  // before other connections have their turn

// Answers a refused request once its body, which is short, has been read.
class RefusedExchange : public Exchange {
public:
    explicit RefusedExchange(Response response) : response_(std::move(response)) {}
    void receive(std::string_view) override {}
    Response finish() override { return std::move(response_); }

private:
    Response response_;
};

} // namespace

Connection::Connection(Descriptor socket, std::string peer, Application& application, std::vector<char>& buffer)
    : socket_(std::move(socket)), peer_(std::move(peer)), application_(application), buffer_(buffer) {}

Connection::~Connection() {
    if (stage_ == Stage::Body || stage_ == Stage::Answer) {
        log(" cut short");
    }
}

bool Connection::isStale(Clock::time_point now) const {
    return now - lastProgress_ > (stage_ == Stage::Linger ? 2s : 90s);
}

Connection::Wait Connection::advance() {
    for (int i = 0; i < stepsAtOnce; ++i) {
        switch (step()) {
        case Progress::Made:
            lastProgress_ = Clock::now();
            break;
        case Progress::Blocked:
            return stage_ == Stage::Answer ? Wait::Output : Wait::Input;
        case Progress::Ended:
            return Wait::Nothing;
        }
    }
    return Wait::Output; // there is more to do, perhaps on input that is here already, and output is possible soon
}

Connection::Progress Connection::step() {
    Progress progress = Progress::Blocked;
    switch (stage_) {
    case Stage::Head:
        progress = takeHead();
        break;
    case Stage::Body:
        progress = takeBody();
        break;
    case Stage::Answer:
        return send();
    case Stage::Linger:
        discarded_ += input().size();
        taken_ = input_.size();
        if (discarded_ > mostDiscarded) {
            return Progress::Ended;
        }
        break;
    }
    return progress == Progress::Blocked ? read() : progress;
}

Connection::Progress Connection::read() {
    input_.erase(0, taken_);
    taken_ = 0;
    const ssize_t length = ::recv(socket_.get(), buffer_.data(), buffer_.size(), 0);
    if (length > 0) {
        input_.append(buffer_.data(), static_cast<std::size_t>(length));
        return Progress::Made;
    }
    return length < 0 && (errno == EAGAIN || errno == EINTR) ? Progress::Blocked : Progress::Ended;
}

Connection::Progress Connection::takeHead() {
    // Empty lines before a request are to be passed over (RFC 9112, 2.2).
    while (input().starts_with("\r\n") || input().starts_with('\n')) {
        taken_ += input().starts_with('\n') ? 1 : 2;
    }
    const std::size_t crlf = input().find("\r\n\r\n");
    const std::size_t bare = input().find("\n\n");
    const std::size_t end =
        std::min(crlf == std::string_view::npos ? crlf : crlf + 4, bare == std::string_view::npos ? bare : bare + 2);
    if (std::min(end, input().size()) > longestHead) {
        startRequest();
        refuse(errorResponse(431, "BadRequest", "the request's head is longer than 64 KiB"));
        return Progress::Made;
    }
    if (end == std::string_view::npos) {
        return Progress::Blocked;
    }
    startRequest();
    try {
        request_ = parseRequestHead(input().substr(0, end));
        taken_ += end;
        begin();
    } catch (const BadRequest& bad) {
        refuse(errorResponse(bad.status(), "BadRequest", bad.what()));
    }
    return Progress::Made;
}

void Connection::startRequest() {
    started_ = Clock::now();
    request_ = {};
    response_ = {};
    response_.status = 0;
    bytes_ = 0;
}

void Connection::begin() {
    keepAlive_ = request_.keepAlive;
    decoder_.emplace(request_);
    try {
        exchange_ = application_.begin(request_);
    } catch (Refused& refused) {
        if (request_.chunked || request_.length > shortBody || request_.expectsContinue) {
            return refuse(std::move(refused.response));
        }
        exchange_ = std::make_unique<RefusedExchange>(std::move(refused.response));
    } catch (const std::exception& error) {
        return refuse(errorResponse(500, "InternalError", error.what()));
    }
    stage_ = Stage::Body;
    if (request_.expectsContinue && !decoder_->done() && input().empty()) {
        constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
        // So short a text fits into the socket's buffer; a client that does not get it sends the body by itself.
        [[maybe_unused]] const auto length = ::send(socket_.get(), goOn.data(), goOn.size(), MSG_NOSIGNAL);
    }
}

Connection::Progress Connection::takeBody() {
    try {
        std::string_view rest = input();
        const std::string_view piece = decoder_->take(rest);
        taken_ = input_.size() - rest.size();
        if (!piece.empty()) {
            exchange_->receive(piece);
            return Progress::Made;
        }
        if (!decoder_->done()) {
            return Progress::Blocked;
        }
        answer(exchange_->finish());
    } catch (const BadRequest& bad) {
        refuse(errorResponse(bad.status(), "BadRequest", bad.what()));
    } catch (Refused& refused) {
        refuse(std::move(refused.response));
    } catch (const std::exception& error) {
        logLine(std::string("a request failed: ") + error.what());
        refuse(errorResponse(500, "InternalError", error.what()));
    }
    return Progress::Made;
}

// Answers without having read the whole request, so nothing more can be understood on this connection.
void Connection::refuse(Response response) {
    keepAlive_ = false;
    answer(std::move(response));
}

void Connection::answer(Response response) {
    exchange_.reset();
    response_ = std::move(response);
    keepAlive_ = keepAlive_ && !response_.close;
    output_ = responseHead(response_, keepAlive_) + response_.body;
    sent_ = 0;
    stage_ = Stage::Answer;
}

Connection::Progress Connection::send() {
    if (sent_ < output_.size()) {
        const int flags = MSG_NOSIGNAL | (response_.file && response_.file->length > 0 ? MSG_MORE : 0);
        const ssize_t length = ::send(socket_.get(), output_.data() + sent_, output_.size() - sent_, flags);
        if (length < 0) {
            return errno == EAGAIN || errno == EINTR ? Progress::Blocked : Progress::Ended;
        }
        sent_ += static_cast<std::size_t>(length);
        bytes_ += static_cast<std::uint64_t>(length);
        return sent_ < output_.size() || response_.file ? Progress::Made : answered();
    }
    return response_.file->length > 0 ? sendFile() : answered();
}

Connection::Progress Connection::sendFile() {
    FileSlice& slice = *response_.file;
    if (slice.length <= pieceSize) {
        struct stat status {};
        if (::fstat(slice.file.get(), &status) != 0 || identityOf(status) != slice.identity) {
            return Progress::Ended;
        }
    }
    auto offset = static_cast<off_t>(slice.offset);
    const ssize_t length = ::sendfile(socket_.get(), slice.file.get(), &offset,
                                      static_cast<std::size_t>(std::min<std::uint64_t>(slice.length, pieceSize)));
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Progress::Blocked;
    }
    if (length <= 0) {
        return Progress::Ended; // the client has gone, or the file has become shorter
    }
    slice.offset += static_cast<std::uint64_t>(length);
    slice.length -= static_cast<std::uint64_t>(length);
    bytes_ += static_cast<std::uint64_t>(length);
    return Progress::Made;
}

Connection::Progress Connection::answered() {
    log("");
    response_ = {};
    output_.clear();
    if (keepAlive_) {
        stage_ = Stage::Head;
        return Progress::Made;
    }
    // Closing with unread input would reset the connection and take the answer from a client that has not read it yet.
    ::shutdown(socket_.get(), SHUT_WR);
    stage_ = Stage::Linger;
    return Progress::Made;
}

void Connection::log(std::string_view remark) const {
    const std::chrono::duration<double, std::milli> time = Clock::now() - started_;
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " %d %llu %.1fms", response_.status,
                  static_cast<unsigned long long>(bytes_), time.count());
    logLine(peer_ + ' ' + (request_.method.empty() ? "-" : request_.method) + ' ' +
            (request_.target.empty() ? "-" : std::string(request_.path())) + numbers.data() + std::string(remark));
}

} // namespace webservice
