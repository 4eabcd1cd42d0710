#pragma once

#include "WebService/Http/Request.h"
#include "WebService/Http/RequestRecorder.h"
#include "WebService/Http/Response.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// The handling of one request: it receives the body piece by piece and then gives the response, in one or several
/// steps. Destroyed before that when the client disconnects.
class Exchange {
public:
    Exchange() = default;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    virtual ~Exchange() = default;

    virtual void receive(std::string_view piece) = 0;

    /// The bytes of memory that hold what it has received.
    virtual std::size_t memory() const { return 0; }

    /// Does all of the work and gives the response; may throw RequestError, as receive() may. Called at most once, and
    /// by the default step() alone.
    virtual Response finish() = 0;

    /// Called repeatedly once the whole body has been received, until it gives the response. An exchange whose work may
    /// take longer than some 20 ms overrides it and does a part of it in each call. Between two calls other requests
    /// may change the state, or the process may end, which destroys the exchange: nothing may be left open that this
    /// would harm, a transaction least of all.
    virtual std::optional<Response> step() { return finish(); }
};

/// What a server serves. A RequestError that it throws, or that an exchange throws, becomes the response at once, and
/// the connection is closed, since the rest of the body is not read; any other exception becomes a RequestError of
/// status 500.
class Application {
public:
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    virtual ~Application() = default;

    /// Called when the request line and headers have been received. May throw RequestError.
    virtual std::unique_ptr<Exchange> begin(const Request& request) = 0;

    /// What exchanges change from now on may be kept back until endGroup(). Throws nothing.
    virtual void beginGroup() {}

    /// Stores what exchanges have changed since beginGroup(). Nothing that follows from it has been sent before. An
    /// exception becomes the error of every request of the group.
    virtual void endGroup() {}

    /// Called before begin(), and for a request that is malformed instead of it. Gives what notes the request of this
    /// client, "127.0.0.1:40000"; null where nothing does.
    virtual std::unique_ptr<RequestRecorder> record(const Request& request, const std::string& peer) {
        static_cast<void>(request);
        static_cast<void>(peer);
        return nullptr;
    }

    /// The response for an error. The request has as much as could be parsed.
    virtual Response errorFor(const Request& request, const RequestError& error) const {
        static_cast<void>(request);
        return errorResponse(error);
    }
};

} // namespace webservice
