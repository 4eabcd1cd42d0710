#include "WebService/FaultsPage.h"

#include "WebService/Faults/FaultPlanParser.h"

namespace webservice {

namespace {

class FaultsExchange : public Exchange {
public:
    FaultsExchange(FaultPlan& plan, Events& events, std::string method)
        : plan_(plan), events_(events), method_(std::move(method)) {}

    void receive(std::string_view piece) override {
        if (piece.size() > maxFaultPlanSize - body_.size())
            throw tooLong(faultPlanIsTooLong);
        body_ += piece;
    }

    std::size_t memory() const override { return body_.capacity(); }

    Response finish() override {
        if (method_ == "PUT")
            plan_ = parseFaultPlan(body_);
        else if (method_ == "DELETE")
            plan_ = FaultPlan();
        if (method_ != "GET")
            events_.changed("faults");
        return jsonResponse(200, plan_.json());
    }

private:
    FaultPlan& plan_;
    Events& events_;
    std::string method_;
    std::string body_;
};

} // namespace

std::unique_ptr<Exchange> beginFaults(FaultPlan& plan, Events& events, const Request& request) {
    if (request.method != "GET" && request.method != "PUT" && request.method != "DELETE")
        throw wrongMethod("GET, PUT, DELETE", "GET, PUT and DELETE");
    return std::make_unique<FaultsExchange>(plan, events, request.method);
}

} // namespace webservice
