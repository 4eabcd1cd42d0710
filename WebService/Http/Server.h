#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Exchange.h"
#include "WebService/Http/Timers.h"
#include "WebService/Http/Tls.h"

#include <boost/asio/ip/tcp.hpp>

#include <memory>

namespace webservice {

/// Accepts connections and serves them on the acceptor's context until that is stopped or destroyed, which closes them.
/// Where connections or descriptors run short, the client that has been waited for longest is disconnected. The
/// application must outlive the context. With an identity the connections are over TLS. Without `timers`, faults are
/// timed by the real clock.
void serveConnections(boost::asio::ip::tcp::acceptor acceptor, Application& application, const Limits& limits = {},
                      std::shared_ptr<const TlsIdentity> identity = nullptr, std::shared_ptr<Timers> timers = nullptr);

/// Raises the soft limit of open files to the hard one and returns the number of connections that it allows, with a
/// file open for one in three of them: at most what Limits says.
std::size_t raiseDescriptorLimit();

} // namespace webservice
