#pragma once

#include "Support/RecordedTimers.h"
#include "Support/TemporaryFolder.h"
#include "WebService/Http/Listener.h"
#include "WebService/Http/Server.h"
#include "WebService/State.h"
#include "WebService/WebApplication.h"

#include <boost/asio/io_context.hpp>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <thread>

namespace webservice::test {

/// The service on a folder of its own, served on a loop with a thread of its own. The state belongs to that thread.
class ServedState {
public:
    explicit ServedState(std::chrono::milliseconds busyTimeout = std::chrono::seconds(5))
        : state_(folder.path("data").string(), busyTimeout) {
        std::signal(SIGIO, SIG_IGN);
        auto acceptor = listenOn(context_, {.host = "127.0.0.1", .port = "0"});
        port_ = acceptor.local_endpoint().port();
        serveConnections(std::move(acceptor), application_, {}, nullptr, timers);
        thread_ = std::thread([this] { context_.run(); });
    }
    ServedState(const ServedState&) = delete;
    ServedState& operator=(const ServedState&) = delete;
    ~ServedState() {
        context_.stop();
        thread_.join();
    }

    std::uint16_t port() const { return port_; }

    TemporaryFolder folder;

private:
    State state_;
    WebApplication application_{state_};
    boost::asio::io_context context_{1};

public:
    /// The time by which responses are held back.
    const std::shared_ptr<RecordedTimers> timers = std::make_shared<RecordedTimers>(context_.get_executor());

private:
    std::uint16_t port_ = 0;
    std::thread thread_;
};

} // namespace webservice::test
