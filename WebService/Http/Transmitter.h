#pragma once

#include "WebService/Http/ClientSocket.h"
#include "WebService/Http/Response.h"
#include "WebService/Http/Timers.h"

#include <boost/asio/awaitable.hpp>

#include <string>
#include <vector>

namespace webservice {

/// Sends a response by its transmission, which it must have. Gives whether all of it was sent. After a cut the
/// connection serves no further request: it was reset, or its output was shut down. `piece` is a buffer whose content
/// is not kept from one turn of the loop to the next. Throws Disconnected.
boost::asio::awaitable<bool> transmit(ClientSocket& client, Timers& timers, Response response, std::string header,
                                      std::vector<char>& piece);

/// Sends what the source gives until the client disconnects, which is thrown as Disconnected.
boost::asio::awaitable<void> sendEvents(ClientSocket& client, EventSource& events);

} // namespace webservice
