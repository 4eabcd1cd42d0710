#pragma once

#include "WebService/Http/RequestHead.h"
#include "WebService/Http/Response.h"

#include <memory>
#include <string_view>

namespace webservice {

// One request being answered: it takes the body piece by piece and then gives the answer. Destroyed without finish()
// when the request was broken off.
class Exchange {
public:
    Exchange() = default;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    virtual ~Exchange() = default;

    virtual void receive(std::string_view piece) = 0;
    virtual Response finish() = 0;
};

// Thrown by an exchange, or on its beginning, to answer at once; the rest of the body is not read.
struct Refused {
    Response response;
};

// What a server serves.
class Application {
public:
    Application() = default;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    virtual ~Application() = default;

    // Called when a request's head has arrived. May throw Refused.
    virtual std::unique_ptr<Exchange> begin(const RequestHead& head) = 0;
};

} // namespace webservice
