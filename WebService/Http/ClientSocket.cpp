#include "WebService/Http/ClientSocket.h"

#include "WebService/Common/Log.h"
#include "WebService/Http/Listener.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>

namespace webservice {

namespace asio = boost::asio;
using asio::awaitable;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::size_t readSize = 4096; // what most requests fit in, and all that is held for a client that is silent
constexpr std::size_t minReadSize = 512;
constexpr std::size_t maxReadSize = 65536;
constexpr int maxUnsent = 65536; // in the kernel, for a client that does not read (tcp(7), TCP_NOTSENT_LOWAT)

/// Registers the flag by which wake() ends a wait, for as long as that takes.
class WaitScope {
public:
    WaitScope(bool*& known, bool& isOver) : known_(known) { known_ = &isOver; }
    WaitScope(const WaitScope&) = delete;
    WaitScope& operator=(const WaitScope&) = delete;
    ~WaitScope() { known_ = nullptr; }

private:
    bool*& known_;
};

} // namespace

ClientSocket::ClientSocket(tcp::socket socket, std::shared_ptr<Clients> clients, const TlsIdentity* identity)
    : Client(std::move(clients)), socket_(std::move(socket)),
      wakeUp_(socket_.get_executor(), Timers::Clock::time_point::max()),
      tls_(identity != nullptr ? identity->session(socket_.native_handle()) : nullptr) {
    error_code ignored;
    socket_.set_option(tcp::no_delay(true), ignored);
    using UnsentLimit = asio::detail::socket_option::integer<IPPROTO_TCP, TCP_NOTSENT_LOWAT>;
    socket_.set_option(UnsentLimit(maxUnsent), ignored);
    socket_.non_blocking(true, ignored);
    peer_ = addressText(socket_.remote_endpoint(ignored));
    ownAddress_ = socket_.local_endpoint(ignored).address().to_string();
}

std::string_view ClientSocket::received() const {
    return {static_cast<const char*>(input_.data().data()), input_.size()};
}

awaitable<void> ClientSocket::handshake() {
    if (!tls_)
        co_return;
    enter(Phase::Headers);
    const auto result = co_await perform([this] { return tls_->handshake(); });
    if (result.state == TlsSession::State::Done)
        co_return;
    logLine(peer_ + " no TLS: " + (hasExpired() ? "the handshake took too long" : tls_->failure()));
    throw Disconnected{};
}

/// Gives the room for what is received next.
std::size_t ClientSocket::prepareInput() {
    if (input_.capacity() > input_.size() + readSize)
        input_.shrink_to_fit();
    const std::size_t free = input_.capacity() - input_.size();
    return free < minReadSize ? readSize : free;
}

awaitable<bool> ClientSocket::receiveMore() {
    if (hasExpired())
        co_return false;
    if (tls_)
        co_return co_await receiveSecurely();
    const std::size_t size = prepareInput();
    error_code error;
    std::size_t count =
        co_await socket_.async_read_some(input_.prepare(size), asio::redirect_error(asio::use_awaitable, error));
    input_.commit(count);
    if (count == size) {
        // There is likely to be more, and an error shows again at the next call.
        error_code ignored;
        const std::size_t further = socket_.read_some(input_.prepare(maxReadSize), ignored);
        input_.commit(further);
        count += further;
    }
    onReceived(count, error == asio::error::eof);
    co_return !error;
}

awaitable<bool> ClientSocket::receiveSecurely() {
    const std::size_t size = prepareInput();
    auto space = input_.prepare(size);
    const auto first = co_await perform([&] { return tls_->receive(static_cast<char*>(space.data()), space.size()); });
    std::size_t count = first.count;
    input_.commit(count);
    if (count == size && isConnected()) {
        space = input_.prepare(maxReadSize);
        const std::size_t further = tls_->receive(static_cast<char*>(space.data()), space.size()).count;
        input_.commit(further);
        count += further;
    }
    onReceived(count, first.state == TlsSession::State::Ended);
    co_return first.state == TlsSession::State::Done;
}

void ClientSocket::onReceived(std::size_t bytes, bool endsWithInput) {
    transferred(bytes);
    setMemory(input_.capacity() + bodyMemory_);
    inputHasEnded_ = endsWithInput;
}

/// The loop runs in any case, so that a client for whom nothing has to be waited does not keep it busy. The session
/// must not use the number of a socket that was closed.
awaitable<TlsSession::Result> ClientSocket::perform(SecureCall call) {
    error_code error;
    bool hasWaited = false;
    while (!error && isConnected()) {
        const TlsSession::Result result = call();
        const bool needsInput = result.state == TlsSession::State::NeedsInput;
        if (!needsInput && result.state != TlsSession::State::NeedsOutput) {
            if (!hasWaited)
                co_await yield();
            co_return result;
        }
        hasWaited = true;
        co_await socket_.async_wait(needsInput ? tcp::socket::wait_read : tcp::socket::wait_write,
                                    asio::redirect_error(asio::use_awaitable, error));
    }
    co_return TlsSession::Result{};
}

awaitable<void> ClientSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        error_code error;
        const std::size_t count =
            tls_ ? co_await sendSecurely(bytes.substr(0, maxReadSize))
                 : co_await socket_.async_write_some(asio::buffer(bytes.substr(0, maxReadSize)),
                                                     asio::redirect_error(asio::use_awaitable, error));
        onSent(count, error);
        bytes.remove_prefix(count);
    }
}

awaitable<std::size_t> ClientSocket::sendSecurely(std::string_view bytes) {
    const auto result = co_await perform([&] { return tls_->send(bytes); });
    if (result.state != TlsSession::State::Done)
        throw Disconnected{};
    co_return result.count;
}

awaitable<std::size_t> ClientSocket::sendSomeSecurely(std::string_view bytes) {
    const auto result = isConnected() ? tls_->send(bytes) : TlsSession::Result{};
    error_code error;
    if (result.state == TlsSession::State::NeedsOutput)
        co_await socket_.async_wait(tcp::socket::wait_write, asio::redirect_error(asio::use_awaitable, error));
    else if (result.state == TlsSession::State::Done)
        co_await yield();
    else
        throw Disconnected{};
    onSent(result.count, error);
    co_return result.count;
}

awaitable<std::size_t> ClientSocket::sendSome(std::string_view bytes) {
    if (tls_)
        co_return co_await sendSomeSecurely(bytes);
    error_code error;
    const std::size_t count = socket_.write_some(asio::buffer(bytes), error);
    if (error == asio::error::would_block || error == asio::error::try_again)
        co_await socket_.async_wait(tcp::socket::wait_write, asio::redirect_error(asio::use_awaitable, error));
    else
        co_await yield();
    onSent(count, error);
    co_return count;
}

/// Time may have run out, too, while nothing was waited for.
void ClientSocket::onSent(std::size_t bytes, const error_code& error) {
    if (error || hasExpired())
        throw Disconnected{};
    sent_ += bytes;
    transferred(bytes);
}

void ClientSocket::shutdownOutput() {
    if (tls_ && !outputHasEnded_ && socket_.is_open())
        tls_->end();
    cutOutput();
}

void ClientSocket::cutOutput() {
    outputHasEnded_ = true;
    error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_send, ignored);
}

awaitable<void> ClientSocket::wait(Timers& timers, Timers::Clock::duration time, bool endsWithInput) {
    bool isOver = false;
    const WaitScope scope(waitIsOver_, isOver);
    const auto timer = timers.start(time, [this] { wake(); });
    while (!isOver && !inputHasEnded_ && input_.size() < maxReadSize) {
        if (!co_await receiveMore() && !isOver && !inputHasEnded_)
            throw Disconnected{};
    }
    if (endsWithInput && inputHasEnded_)
        throw Disconnected{};
    if (!isOver)
        co_await waitWithoutReading(isOver);
}

void ClientSocket::wake() {
    if (waitIsOver_ == nullptr)
        return;
    *waitIsOver_ = true;
    expire();
}

awaitable<void> ClientSocket::waitWithoutReading(const bool& isOver) {
    error_code ignored;
    co_await wakeUp_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    if (!isOver)
        throw Disconnected{};
}

awaitable<void> ClientSocket::discardInput(Timers& timers, Timers::Clock::duration time) {
    bool isOver = false;
    const auto timer = timers.start(time, [&] {
        isOver = true;
        expire();
    });
    do
        input_.clear();
    while (!isOver && co_await receiveMore());
}

/// A reset discards what is still to be sent, so nothing may be (tcp(7), SIOCOUTQ).
awaitable<void> ClientSocket::reset() {
    int unsent = 0;
    while (isConnected() && ::ioctl(socket_.native_handle(), SIOCOUTQ, &unsent) == 0 && unsent > 0)
        co_await pause();
    error_code ignored;
    socket_.set_option(tcp::socket::linger(true, 0), ignored);
    socket_.close(ignored);
}

awaitable<void> ClientSocket::pause() {
    asio::steady_timer timer(socket_.get_executor(), std::chrono::milliseconds(1));
    co_await timer.async_wait(asio::use_awaitable);
}

awaitable<void> ClientSocket::yield() {
    co_await asio::post(socket_.get_executor(), asio::use_awaitable);
}

void ClientSocket::setBodyMemory(std::size_t bytes) {
    bodyMemory_ = bytes;
    setMemory(input_.capacity() + bodyMemory_);
}

void ClientSocket::expire() {
    error_code ignored;
    socket_.cancel(ignored);
    wakeUp_.cancel();
}

void ClientSocket::disconnect() {
    error_code ignored;
    socket_.close(ignored);
    wakeUp_.cancel();
}

} // namespace webservice
