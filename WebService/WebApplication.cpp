#include "WebService/WebApplication.h"

#include "WebService/Http/RequestOrigin.h"
#include "WebService/OperationTable.h"
#include "WebService/Pages.h"
#include "WebService/PushExchange.h"

namespace webservice {

namespace {

constexpr std::string_view serviceRoot = "/QuenmarkRestService/";

RequestError wrongMethod(const std::string& allowed) {
    return {"WrongMethod", "this path is for " + allowed, 405, {{"Allow", allowed}}};
}

} // namespace

std::unique_ptr<Exchange> WebApplication::begin(const RequestHead& head) {
    if (const auto reason = refusalOfOrigin(head, listenHost_, head.ownAddress))
        throw RequestError("WrongOrigin", *reason, 403);
    const std::string path = percentDecoded(head.path()).value_or("");
    if (path.starts_with(serviceRoot)) {
        const Operation* operation = findOperation(std::string_view(path).substr(serviceRoot.size()));
        if (operation == nullptr)
            throw RequestError("UnknownOperation", "there is no operation " + path, 404);
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
    throw RequestError("UnknownPath", "there is nothing at this path", 404);
}

Response WebApplication::errorFor(const RequestHead& head, const RequestError& error) const {
    return operationError(head, error);
}

} // namespace webservice
