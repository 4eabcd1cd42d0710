#include "WebService/WebApplication.h"

#include "WebService/Operations/OperationTable.h"
#include "WebService/PushExchange.h"

namespace webservice {

namespace {

constexpr std::string_view serviceRoot = "/QuenmarkRestService/";

Refused wrongMethod(std::string allowed) {
    Refused refused{errorResponse(405, "WrongMethod", "this path is for " + allowed)};
    refused.response.headers.emplace_back("Allow", std::move(allowed));
    return refused;
}

// GET /status[?computer=X]: how many uploads are in which state, of one computer or of all.
class StatusExchange : public Exchange {
public:
    StatusExchange(State& state, std::optional<std::string> computer) : state_(state), computer_(std::move(computer)) {}

    void receive(std::string_view) override {}

    Response finish() override {
        state_.watcher.drain();
        boost::json::object counts;
        for (const char* uploadState : {"pending", "acknowledged", "withdrawn"}) {
            counts[uploadState] = state_.ledger.count(uploadState, computer_);
        }
        return jsonResponse(200, boost::json::serialize(counts));
    }

private:
    State& state_;
    std::optional<std::string> computer_;
};

} // namespace

std::unique_ptr<Exchange> WebApplication::begin(const RequestHead& head) {
    const std::string path = percentDecoded(head.path()).value_or("");
    if (path.starts_with(serviceRoot)) {
        const Operation* operation = findOperation(std::string_view(path).substr(serviceRoot.size()));
        if (operation == nullptr) {
            throw Refused{errorResponse(404, "UnknownOperation", "there is no operation " + path)};
        }
        if (head.method != "POST") {
            throw wrongMethod("POST");
        }
        return beginOperation(state_, *operation);
    }
    if (head.path().starts_with("/outbox/")) {
        if (head.method != "PUT") {
            throw wrongMethod("PUT");
        }
        return beginPush(state_, head);
    }
    if (path == "/status") {
        if (head.method != "GET") {
            throw wrongMethod("GET");
        }
        return std::make_unique<StatusExchange>(state_, queryValue(head.query(), "computer"));
    }
    throw Refused{errorResponse(404, "UnknownPath", "there is nothing at this path")};
}

} // namespace webservice
