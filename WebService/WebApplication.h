#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <string>

namespace webservice {

/// Everything that the development web service answers: the operations below "/QuenmarkRestService/", which are POSTs
/// of JSON, and what it has of its own: PUT /outbox/COMPUTER/PATH and a few pages to GET. Another site's page in a
/// browser is refused with 403.
class WebApplication : public Application {
public:
    /// `listenHost` is the host that is listened on, as it was asked for.
    explicit WebApplication(State& state, std::string listenHost = "127.0.0.1")
        : state_(state), listenHost_(std::move(listenHost)) {}

    std::unique_ptr<Exchange> begin(const RequestHead& head) override;
    Response errorFor(const RequestHead& head, const RequestError& error) const override;

private:
    State& state_;
    std::string listenHost_;
};

} // namespace webservice
