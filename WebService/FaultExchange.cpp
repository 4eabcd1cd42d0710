#include "WebService/FaultExchange.h"

#include "WebService/Common/Log.h"
#include "WebService/Operations/JsonBody.h"
#include "WebService/Operations/RequestComputer.h"

namespace webservice {

namespace {

class FaultExchange : public Exchange {
public:
    FaultExchange(FaultPlan& plan, Database& db, const Operation& operation, const Request& request,
                  std::unique_ptr<Exchange> exchange)
        : plan_(plan), db_(db), operation_(operation), request_(request), exchange_(std::move(exchange)) {
        if (plan.needsComputer(operation.path) && !std::holds_alternative<StreamOperation>(operation.handler))
            body_ = std::make_unique<JsonBody>();
    }

    void receive(std::string_view piece) override {
        exchange_->receive(piece);
        if (body_)
            body_->receive(piece);
    }

    std::size_t memory() const override { return exchange_->memory() + (body_ ? body_->memory() : 0); }

    Response finish() override {
        while (true) {
            if (auto response = step())
                return std::move(*response);
        }
    }

    std::optional<Response> step() override {
        if (!isCounted_)
            count();
        if (!action_)
            return exchange_->step();
        std::optional<Response> response;
        if (std::holds_alternative<StatusFault>(*action_))
            response.emplace();
        else
            response = result();
        if (response) {
            applyFault(*action_, *response);
            response->fault = place_;
        }
        return response;
    }

private:
    /// The plan may be replaced while the request is processed.
    void count() {
        isCounted_ = true;
        const Fault* fault = plan_.select(operation_.path, [this] { return computer(); });
        if (fault == nullptr)
            return;
        action_ = fault->action;
        place_ = plan_.indexOf(*fault);
        logLine(plan_.placeOf(*fault) + " is applied to " + std::string(operation_.path));
    }

    std::optional<std::string> computer() const {
        const boost::json::value* value = nullptr;
        try {
            value = body_ ? &body_->value() : nullptr;
        } catch (const RequestError&) {
            // The operation refuses this body.
        }
        return computerOf(db_, request_, value);
    }

    std::optional<Response> result() {
        try {
            return exchange_->step();
        } catch (const RequestError& error) {
            return operationError(request_, error);
        }
    }

    FaultPlan& plan_;
    Database& db_;
    const Operation& operation_;
    Request request_;
    std::unique_ptr<Exchange> exchange_;
    std::unique_ptr<JsonBody> body_; // where the computer has to be known
    bool isCounted_ = false;
    std::optional<FaultAction> action_;
    std::size_t place_ = 0; // of the fault in the plan
};

} // namespace

std::unique_ptr<Exchange> withFaults(FaultPlan& plan, Database& db, const Operation& operation, const Request& request,
                                     std::unique_ptr<Exchange> exchange) {
    if (plan.isEmpty())
        return exchange;
    return std::make_unique<FaultExchange>(plan, db, operation, request, std::move(exchange));
}

} // namespace webservice
