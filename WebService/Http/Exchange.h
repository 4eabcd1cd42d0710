#pragma once

#include "WebService/Http/RequestHead.h"
#include "WebService/Http/Response.h"

#include <memory>
#include <optional>
#include <string_view>

namespace webservice {

/// One request being answered: it takes the body piece by piece and then gives the response, in one or several steps.
/// Destroyed before it has given one when the request was broken off.
class Exchange {
public:
    Exchange() = default;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    virtual ~Exchange() = default;

    virtual void receive(std::string_view piece) = 0;

    /// The bytes of memory that hold what it has received.
    virtual std::size_t memory() const { return 0; }

    /// Does the whole of the work and gives the response; may throw RequestError, as receive() may. Called once, if at
    /// all, and by the default step() alone.
    virtual Response finish() = 0;

    /// Called again and again once the whole body has been received, until it gives the response; an exchange whose
    /// work may take longer than some 20 ms overrides it and does about as much in each call. Everything else that the
    /// process does may happen between two calls: other requests change the state, or the process ends, which destroys
    /// the exchange. So nothing may be left open from one call to the next that this would harm, a transaction least of
    /// all.
    virtual std::optional<Response> step() { return finish(); }
};

/// What a server serves. A RequestError that it throws, or that an exchange throws, is sent as the response at once,
/// and the connection is closed, since the rest of the body is not read; any other exception is sent as a RequestError
/// of status 500.
class Application {
public:
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    virtual ~Application() = default;

    /// Called when a request's head has arrived. May throw RequestError.
    virtual std::unique_ptr<Exchange> begin(const RequestHead& head) = 0;

    /// The response that tells of an error. The head has as much of the request as could be read.
    virtual Response errorFor(const RequestHead& head, const RequestError& error) const {
        static_cast<void>(head);
        return errorResponse(error);
    }
};

} // namespace webservice
