#pragma once

#include "WebService/Http/Exchange.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace webservice {

// Serves one client's connection until it ends: reads requests, has them answered, sends the answers, one after the
// other. Every request that was begun is logged with one line. A connection on which nothing moves for a minute and a
// half is cut.
boost::asio::awaitable<void> serveConnection(boost::asio::ip::tcp::socket socket, Application& application);

} // namespace webservice
