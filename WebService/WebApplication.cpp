#include "WebService/WebApplication.h"

#include "WebService/Common/WireName.h"
#include "WebService/ConsoleExchange.h"
#include "WebService/FaultExchange.h"
#include "WebService/FaultsPage.h"
#include "WebService/Http/RequestOrigin.h"
#include "WebService/OperationTable.h"
#include "WebService/Pages.h"
#include "WebService/PushExchange.h"

namespace webservice {

namespace {

constexpr std::string_view serviceRoot = "/QuenmarkRestService/";

} // namespace

std::unique_ptr<Exchange> WebApplication::begin(const Request& request) {
    if (const auto reason = originError(request, listenHost_, request.ownAddress))
        throw RequestError("WrongOrigin", *reason, 403);
    const std::string path = percentDecoded(request.path()).value_or("");
    if (path.starts_with(serviceRoot)) {
        const Operation* operation = findOperation(std::string_view(path).substr(serviceRoot.size()));
        if (operation == nullptr)
            throw RequestError("UnknownOperation", "there is no operation " + path, 404);
        if (request.method != "POST")
            throw wrongMethod("POST");
        return withFaults(plan_, state_.db, *operation, request, beginOperation(state_, *operation, request));
    }
    if (request.path().starts_with(outboxRoot)) {
        if (request.method != "PUT")
            throw wrongMethod("PUT");
        return beginPush(state_, request);
    }
    if (path == "/faults")
        return beginFaults(plan_, console_.events, request);
    if (auto exchange = beginConsole(console_, state_, plan_, request))
        return exchange;
    if (auto page = beginPage(state_, path, request)) {
        if (request.method != "GET")
            throw wrongMethod("GET");
        return page;
    }
    throw unknownPath();
}

void WebApplication::endGroup() {
    try {
        state_.group.end();
    } catch (...) {
        console_.changesEnded(false);
        state_.cloud.discardRemoved();
        throw;
    }
    console_.changesEnded(true);
    state_.cloud.discardRemoved();
}

std::unique_ptr<RequestRecorder> WebApplication::record(const Request& request, const std::string& peer) {
    const Operation* operation = nullptr;
    if (const auto path = percentDecoded(request.path()); path && path->starts_with(serviceRoot))
        operation = findOperation(std::string_view(*path).substr(serviceRoot.size()));
    return console_.record(request, peer, operation != nullptr ? operation->path : std::string_view());
}

Response WebApplication::errorFor(const Request& request, const RequestError& error) const {
    return operationError(request, error);
}

} // namespace webservice
