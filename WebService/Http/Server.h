#pragma once

#include "WebService/Http/Exchange.h"

#include <boost/asio/ip/tcp.hpp>

namespace webservice {

// Accepts connections and serves them on the acceptor's context until that is stopped or destroyed, which cuts them.
// The application must outlive the context.
void serveConnections(boost::asio::ip::tcp::acceptor acceptor, Application& application);

} // namespace webservice
