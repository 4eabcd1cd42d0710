#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Exchange.h"

#include <boost/asio/ip/tcp.hpp>

namespace webservice {

/// Accepts connections and serves them on the acceptor's context until that is stopped or destroyed, which closes them.
/// Where connections or descriptors run short, the client that has been waited for longest is disconnected. The
/// application must outlive the context.
void serveConnections(boost::asio::ip::tcp::acceptor acceptor, Application& application, const Limits& limits = {});

/// Raises the soft limit of open files to the hard one and returns the number of connections that it allows, with a
/// file open for each: at most what Limits says.
std::size_t raiseDescriptorLimit();

} // namespace webservice
