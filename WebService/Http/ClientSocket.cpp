#include "WebService/Http/ClientSocket.h"

#include "WebService/Http/Listener.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

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

} // namespace

ClientSocket::ClientSocket(tcp::socket socket, std::shared_ptr<Clients> clients)
    : Client(std::move(clients)), socket_(std::move(socket)) {
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

awaitable<bool> ClientSocket::receiveMore() {
    if (hasExpired())
        co_return false;
    if (input_.capacity() > input_.size() + readSize)
        input_.shrink_to_fit();
    const std::size_t free = input_.capacity() - input_.size();
    const std::size_t size = free < minReadSize ? readSize : free;
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
    transferred(count);
    setMemory(input_.capacity() + bodyMemory_);
    co_return !error;
}

awaitable<void> ClientSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        error_code error;
        const std::size_t count = co_await socket_.async_write_some(asio::buffer(bytes.substr(0, maxReadSize)),
                                                                    asio::redirect_error(asio::use_awaitable, error));
        onSent(count, error);
        bytes.remove_prefix(count);
    }
}

awaitable<std::size_t> ClientSocket::sendSome(std::string_view bytes) {
    error_code error;
    const std::size_t count = socket_.write_some(asio::buffer(bytes), error);
    if (error == asio::error::would_block || error == asio::error::try_again)
        co_await socket_.async_wait(tcp::socket::wait_write, asio::redirect_error(asio::use_awaitable, error));
    else
        co_await asio::post(socket_.get_executor(), asio::use_awaitable);
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
    error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_send, ignored);
}

awaitable<void> ClientSocket::pause() {
    asio::steady_timer timer(socket_.get_executor(), std::chrono::milliseconds(1));
    co_await timer.async_wait(asio::use_awaitable);
}

void ClientSocket::setBodyMemory(std::size_t bytes) {
    bodyMemory_ = bytes;
    setMemory(input_.capacity() + bodyMemory_);
}

void ClientSocket::expire() {
    error_code ignored;
    socket_.cancel(ignored);
}

void ClientSocket::disconnect() {
    error_code ignored;
    socket_.close(ignored);
}

} // namespace webservice
