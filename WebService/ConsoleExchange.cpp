#include "WebService/ConsoleExchange.h"

#include "WebService/Console/Api.h"
#include "WebService/Console/Page.h"
#include "WebService/IgnoredBody.h"
#include "WebService/SlicedExchange.h"

namespace webservice {

namespace {

using namespace std::chrono_literals;

/// A file of the page.
class FileExchange : public Exchange {
public:
    explicit FileExchange(Response response) : response_(std::move(response)) {}

    void receive(std::string_view piece) override { body_.receive(piece); }
    Response finish() override { return std::move(response_); }

private:
    IgnoredBody body_;
    Response response_;
};

/// What is there without the state: that may be gone.
class MemoryExchange : public Exchange {
public:
    MemoryExchange(const ApiRoute& route, const ApiParts& parts, ApiCall call)
        : job_(route.handle(parts, std::move(call))) {}

    void receive(std::string_view piece) override { body_.receive(piece); }

    Response finish() override {
        while (true) {
            if (auto response = step())
                return std::move(*response);
        }
    }

    std::optional<Response> step() override {
        try {
            return job_.run(5ms) ? std::optional(job_.take()) : std::nullopt;
        } catch (const RequestError& error) {
            return errorResponse(error);
        }
    }

private:
    IgnoredBody body_;
    Job<Response> job_;
};

class StateExchange : public SlicedExchange {
public:
    StateExchange(State& state, const ApiRoute& route, const ApiParts& parts, ApiCall call)
        : SlicedExchange(state), route_(route), parts_(parts), call_(std::move(call)) {}

    void receive(std::string_view piece) override { body_.receive(piece); }

private:
    Work<Response> work() override { return route_.handle(parts_, call_); }

    IgnoredBody body_;
    const ApiRoute& route_;
    ApiParts parts_;
    ApiCall call_;
};

std::string addressOf(const Request& request) {
    return (request.isSecure ? "https://" : "http://") +
           std::string(request.header("Host").value_or(request.ownAddress));
}

} // namespace

std::unique_ptr<Exchange> beginConsole(Console& console, State& state, FaultPlan& plan, const Request& request) {
    if (!isConsolePath(request.path()))
        return nullptr;
    if (auto file = consoleFile(request.path())) {
        if (request.method != "GET")
            throw wrongMethod("GET");
        return std::make_unique<FileExchange>(std::move(*file));
    }
    const ApiParts parts{.console = console,
                         .plan = plan,
                         .db = state.db,
                         .tree = state.tree,
                         .ledger = state.ledger,
                         .watcher = state.watcher,
                         .cloud = state.cloud,
                         .incoming = state.incoming};
    ApiMatch match = findRoute(request.method, request.path());
    ApiCall call{
        .address = addressOf(request), .variable = std::move(match.variable), .query = std::string(request.query())};
    if (match.route.usesState)
        return std::make_unique<StateExchange>(state, match.route, parts, std::move(call));
    return std::make_unique<MemoryExchange>(match.route, parts, std::move(call));
}

} // namespace webservice
