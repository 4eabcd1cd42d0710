#include "WebService/Http/Server.h"

#include "WebService/Http/Connection.h"
#include "WebService/Log.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <exception>

namespace webservice {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr int mostConnections = 1000;

class Server {
public:
    Server(tcp::acceptor acceptor, Application& application)
        : acceptor_(std::move(acceptor)), application_(application), pause_(acceptor_.get_executor()) {}

    // Keeps the server alive as long as the coroutine lives.
    static asio::awaitable<void> run(std::shared_ptr<Server> server) {
        while (true) {
            if (server->connections_ == mostConnections) {
                co_await server->waitAMoment();
                continue;
            }
            boost::system::error_code error;
            tcp::socket socket =
                co_await server->acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, error));
            if (!error) {
                serve(server, std::move(socket));
            } else if (error != asio::error::connection_aborted) {
                logLine("cannot accept a connection: " + error.message());
                co_await server->waitAMoment();
            }
        }
    }

private:
    static void serve(const std::shared_ptr<Server>& server, tcp::socket socket) {
        ++server->connections_;
        const auto executor = socket.get_executor();
        asio::co_spawn(executor, serveConnection(std::move(socket), server->application_),
                       [server](const std::exception_ptr& failure) {
                           --server->connections_;
                           server->pause_.cancel();
                           report(failure);
                       });
    }

    static void report(const std::exception_ptr& failure) {
        try {
            if (failure) {
                std::rethrow_exception(failure);
            }
        } catch (const std::exception& error) {
            logLine(std::string("a connection failed: ") + error.what());
        }
    }

    // A second, or until a connection ends.
    asio::awaitable<void> waitAMoment() {
        boost::system::error_code cancelled;
        pause_.expires_after(std::chrono::seconds(1));
        co_await pause_.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
    }

    tcp::acceptor acceptor_;
    Application& application_;
    asio::steady_timer pause_;
    int connections_ = 0;
};

} // namespace

void serveConnections(tcp::acceptor acceptor, Application& application) {
    const auto executor = acceptor.get_executor();
    asio::co_spawn(executor, Server::run(std::make_shared<Server>(std::move(acceptor), application)), asio::detached);
}

} // namespace webservice
