#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Exchange.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <vector>

namespace webservice {

/// What the connections of a server share.
struct Serving {
    Serving(Application& served, Limits limits, Clients::Now now = &Client::Clock::now)
        : application(served), clients(limits, std::move(now)) {}

    Application& application;
    Clients clients;
    std::vector<char> piece = std::vector<char>(65536); // on its way; not kept from one turn of the loop to the next
};

/// Serves one client's connection until it ends: reads requests, has them answered, sends the responses, one after the
/// other. Every request that was begun is logged with one line. A request's head that does not come in time is answered
/// with 408; a connection on which nothing moves is cut. Where the bodies that are being worked on hold too much memory
/// already, a request is answered with 503.
boost::asio::awaitable<void> serveConnection(boost::asio::ip::tcp::socket socket, std::shared_ptr<Serving> serving);

} // namespace webservice
