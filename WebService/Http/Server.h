#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Exchange.h"

#include <boost/asio/ip/tcp.hpp>

namespace webservice {

/// Accepts connections and serves them on the acceptor's context until that is stopped or destroyed, which cuts them.
/// Where places or descriptors run short, the client that has been waited for longest is dropped. The application must
/// outlive the context.
void serveConnections(boost::asio::ip::tcp::acceptor acceptor, Application& application, const Limits& limits = {});

/// Raises the limit of open files as far as it may be raised, and gives the number of connections that it is enough
/// for, with a file open for each: at most what Limits says.
std::size_t raiseDescriptorLimit();

} // namespace webservice
