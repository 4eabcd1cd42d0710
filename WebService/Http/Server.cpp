#include "WebService/Http/Server.h"

#include "WebService/Common/Log.h"
#include "WebService/Http/Connection.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <sys/resource.h>

#include <cerrno>
#include <cstring>
#include <exception>

namespace webservice {

namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using asio::awaitable;
using asio::ip::tcp;
using boost::system::error_code;

void report(const std::exception_ptr& failure) {
    try {
        if (failure)
            std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        logLine(std::string("a connection failed: ") + error.what());
    } catch (...) {
        logLine("a connection failed");
    }
}

awaitable<void> wait(Client::Clock::duration time) {
    error_code ignored;
    asio::steady_timer timer(co_await asio::this_coro::executor, time);
    co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

/// Closes a client's connection where the descriptors are used up. The error is one of accept(2).
awaitable<void> recover(Clients& clients, int error) {
    const bool isShort = error == EMFILE || error == ENFILE;
    if (error == ECONNABORTED || (isShort && clients.disconnectSlowest()))
        co_return;
    logLine(std::string("cannot accept a connection: ") + std::strerror(error));
    co_await wait(1s);
}

void serve(tcp::socket socket, const std::shared_ptr<ServerContext>& server) {
    const auto executor = socket.get_executor();
    asio::co_spawn(executor, serveConnection(std::move(socket), server), &report);
}

awaitable<void> acceptConnections(tcp::acceptor acceptor, std::shared_ptr<ServerContext> server) {
    while (true) {
        error_code error;
        tcp::socket socket = co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error) {
            co_await recover(server->clients, error.value());
            continue;
        }
        while (!server->clients.ensureSlot())
            co_await wait(100ms);
        try {
            serve(std::move(socket), server);
        } catch (...) {
            report(std::current_exception());
        }
    }
}

awaitable<void> expireEverySecond(std::shared_ptr<ServerContext> server) {
    while (true) {
        co_await wait(1s);
        server->clients.expire();
    }
}

} // namespace

void serveConnections(tcp::acceptor acceptor, Application& application, const Limits& limits,
                      std::shared_ptr<const TlsIdentity> identity, std::shared_ptr<Timers> timers) {
    const auto executor = acceptor.get_executor();
    const auto server = std::make_shared<ServerContext>(
        application, limits, executor, timers ? std::move(timers) : realTimers(executor), std::move(identity));
    asio::co_spawn(executor, acceptConnections(std::move(acceptor), server), asio::detached);
    asio::co_spawn(executor, expireEverySecond(server), asio::detached);
}

std::size_t raiseDescriptorLimit() {
    constexpr rlim_t others = 64; // for the database, the folders and what libraries open
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t free = limit.rlim_cur > others ? limit.rlim_cur - others : 0;
    return static_cast<std::size_t>(std::clamp<rlim_t>(free * 3 / 4, 1, Limits{}.maxConnections));
}

} // namespace webservice
