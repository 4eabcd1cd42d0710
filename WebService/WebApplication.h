#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

namespace webservice {

// Everything that the development web service answers: the operations below "/QuenmarkRestService/", which are POSTs
// of JSON, and what it has of its own: PUT /outbox/COMPUTER/PATH and a few pages to GET.
class WebApplication : public Application {
public:
    explicit WebApplication(State& state) : state_(state) {}

    std::unique_ptr<Exchange> begin(const RequestHead& head) override;

private:
    State& state_;
};

} // namespace webservice
