#pragma once

#include "WebService/Console/Console.h"
#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <string>

namespace webservice {

/// The paths of the development web service: the operations below "/QuenmarkRestService/", which are POSTs of JSON, and
/// its own: PUT /outbox/COMPUTER/PATH, /faults, the console and a few pages to GET. The fault plan concerns operations
/// alone. A request of another site's page in a browser gets a 403.
class WebApplication : public Application {
public:
    /// `listenHost` is the host that the server listens on, as it was given.
    explicit WebApplication(State& state, std::string listenHost = "127.0.0.1", FaultPlan plan = {},
                            std::string version = "")
        : state_(state), listenHost_(std::move(listenHost)), plan_(std::move(plan)),
          console_(state.db, plan_, std::move(version)) {}

    std::unique_ptr<Exchange> begin(const Request& request) override;
    /// The changes of a group are one transaction, in which that of each request is a part.
    void beginGroup() override { state_.group.begin(); }
    void endGroup() override;
    std::unique_ptr<RequestRecorder> record(const Request& request, const std::string& peer) override;
    Response errorFor(const Request& request, const RequestError& error) const override;

private:
    State& state_;
    std::string listenHost_;
    FaultPlan plan_;
    Console console_;
};

} // namespace webservice
