#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <memory>

namespace webservice {

/// PUT /outbox/COMPUTER/PATH: the body becomes that file of the outbox, in one step once all of it has arrived; with a
/// slash at the end a folder is made. Missing parents are made too. Throws RequestError when the path cannot be an
/// item's.
std::unique_ptr<Exchange> beginPush(State& state, const Request& request);

} // namespace webservice
