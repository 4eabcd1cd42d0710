#include "WebService/WebApplication.h"

#include "WebService/Http/RequestOrigin.h"
#include "WebService/OperationTable.h"
#include "WebService/Pages.h"
#include "WebService/PushExchange.h"

namespace webservice {

namespace {

constexpr std::string_view serviceRoot = "/QuenmarkRestService/";

Refused wrongMethod(std::string allowed) {
    Refused refused{errorResponse(405, "WrongMethod", "this path is for " + allowed)};
    refused.response.headers.emplace_back("Allow", std::move(allowed));
    return refused;
}

} // namespace

std::unique_ptr<Exchange> WebApplication::begin(const RequestHead& head) {
    if (const auto refusal = refusalOfOrigin(head, listenHost_, head.ownAddress))
        throw Refused{errorResponse(403, "WrongOrigin", *refusal)};
    const std::string path = percentDecoded(head.path()).value_or("");
    if (path.starts_with(serviceRoot)) {
        const Operation* operation = findOperation(std::string_view(path).substr(serviceRoot.size()));
        if (operation == nullptr)
            throw Refused{errorResponse(404, "UnknownOperation", "there is no operation " + path)};
        if (head.method != "POST")
            throw wrongMethod("POST");
        return beginOperation(state_, *operation, head);
    }
    if (head.path().starts_with("/outbox/")) {
        if (head.method != "PUT")
            throw wrongMethod("PUT");
        return beginPush(state_, head);
    }
    if (auto page = beginPage(state_, path, head)) {
        if (head.method != "GET")
            throw wrongMethod("GET");
        return page;
    }
    throw Refused{errorResponse(404, "UnknownPath", "there is nothing at this path")};
}

Response WebApplication::refusal(const RequestHead& head, Response response) const {
    return refusalOf(head, std::move(response));
}

} // namespace webservice
