#pragma once

#include "WebService/Http/Clients.h"
#include "WebService/Http/Exchange.h"
#include "WebService/Http/RequestGroups.h"
#include "WebService/Http/Timers.h"
#include "WebService/Http/Tls.h"
#include "WebService/Http/TransferTurns.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <vector>

namespace webservice {

/// What the connections of a server share.
struct ServerContext {
    ServerContext(Application& served, Limits limits, const boost::asio::any_io_executor& loop,
                  std::shared_ptr<Timers> timersOfServer, std::shared_ptr<const TlsIdentity> identityOfServer = nullptr)
        : application(served), identity(std::move(identityOfServer)), timers(std::move(timersOfServer)),
          clients(limits), groups(served), turns(loop) {}

    Application& application;
    /// Null for plain HTTP.
    std::shared_ptr<const TlsIdentity> identity;
    std::shared_ptr<Timers> timers;
    Clients clients;
    RequestGroups groups;
    TransferTurns turns;
    /// A buffer; its content is not kept from one turn of the loop to the next.
    std::vector<char> piece = std::vector<char>(65536);
};

/// Serves one client's connection until it ends: reads requests and sends the responses, one after the other. Every
/// request that was begun is logged with one line. Request line and headers that do not arrive in time get a 408; an
/// idle connection is closed. Where the bodies of requests that are being processed hold too much memory already, a
/// request gets a 503.
boost::asio::awaitable<void> serveConnection(boost::asio::ip::tcp::socket socket,
                                             std::shared_ptr<ServerContext> server);

} // namespace webservice
