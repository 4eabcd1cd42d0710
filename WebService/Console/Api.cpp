#include "WebService/Console/Api.h"

#include "WebService/Common/WireName.h"
#include "WebService/Console/Actions.h"
#include "WebService/Console/ConsoleFiles.h"
#include "WebService/Console/RequestList.h"
#include "WebService/Console/StateLists.h"
#include "WebService/Console/Tables.h"
#include "WebService/Operations/Record.h"

#include <algorithm>
#include <array>

namespace webservice {

namespace {

Work<Response> document(ApiParts, ApiCall) {
    co_return jsonResponse(200, std::string(consoleDocument()));
}

Work<Response> streams(ApiParts parts, ApiCall) {
    co_return jsonResponse(200, boost::json::serialize(parts.console.streams.json(Stream::Clock::now())));
}

Work<Response> events(ApiParts parts, ApiCall) {
    Response response;
    response.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-cache"}};
    response.events = parts.console.events.open(parts.console.version());
    if (!response.events)
        throw RequestError("Busy", "the events have as many readers as they may have", 503);
    co_return response;
}

constexpr std::array routes = {
    ApiRoute{"GET", "/api/openapi.json", false, &document},
    ApiRoute{"GET", "/api/events", false, &events},
    ApiRoute{"GET", "/api/streams", false, &streams},
    ApiRoute{"GET", "/api/requests", false, &listRequests},
    ApiRoute{"DELETE", "/api/requests", false, &forgetRequests},
    ApiRoute{"GET", "/api/requests/{}", false, &showRequest},
    ApiRoute{"GET", "/api/service", true, &showService},
    ApiRoute{"GET", "/api/computers", true, &listComputers},
    ApiRoute{"POST", "/api/computers/{}/clear", true, &clearComputer},
    ApiRoute{"GET", "/api/items", true, &listItems},
    ApiRoute{"POST", "/api/items/{}/withdraw", true, &withdrawItem},
    ApiRoute{"POST", "/api/items/{}/offer", true, &offerItem},
    ApiRoute{"GET", "/api/users", true, &listUsers},
    ApiRoute{"GET", "/api/files", true, &listFiles},
    ApiRoute{"GET", "/api/file-requests", true, &listFileRequests},
    ApiRoute{"GET", "/api/transfers", true, &listTransfers},
    ApiRoute{"GET", "/api/mails", true, &listMails},
    ApiRoute{"GET", "/api/errors", true, &listErrors},
    ApiRoute{"POST", "/api/reset", true, &resetService},
};

/// What the variable of the pattern stands for, empty where it has none; nothing where the path is another one.
std::optional<std::string_view> variableOf(std::string_view pattern, std::string_view path) {
    constexpr std::string_view mark = "{}";
    const std::size_t at = pattern.find(mark);
    if (at == std::string_view::npos)
        return pattern == path ? std::optional(std::string_view()) : std::nullopt;
    const std::string_view end = pattern.substr(at + mark.size());
    if (path.size() <= at + end.size() || !path.starts_with(pattern.substr(0, at)) || !path.ends_with(end))
        return std::nullopt;
    const std::string_view variable = path.substr(at, path.size() - at - end.size());
    return variable.find('/') == std::string_view::npos ? std::optional(variable) : std::nullopt;
}

RequestError badQuery(std::string_view name, const char* what) {
    return {"BadQuery", '"' + std::string(name) + "\" is " + what, 400};
}

} // namespace

ApiMatch findRoute(std::string_view method, std::string_view path) {
    std::string allowed;
    for (const ApiRoute& route : routes) {
        const auto variable = variableOf(route.path, path);
        if (!variable)
            continue;
        if (route.method == method) {
            const auto decoded = percentDecoded(*variable);
            if (!decoded || !isUtf8(*decoded))
                throw RequestError("BadPath", "the path is malformed", 400);
            return {route, *decoded};
        }
        allowed.append(allowed.empty() ? "" : ", ").append(route.method);
    }
    if (allowed.empty())
        throw unknownPath();
    throw wrongMethod(allowed);
}

std::optional<std::string> ApiCall::parameter(std::string_view name) const {
    const auto value = queryValue(query, name);
    const auto isNamed = [&](std::string_view text) { return text.starts_with(std::string(name) + '='); };
    const std::string_view text = query;
    const std::size_t later = text.find('&' + std::string(name) + '=');
    if (!value && (isNamed(text) || later != std::string_view::npos))
        throw badQuery(name, "not percent-encoded");
    if (value && !isUtf8(*value))
        throw badQuery(name, "not UTF-8");
    return value;
}

std::optional<std::int64_t> ApiCall::number(std::string_view name) const {
    const auto text = parameter(name);
    if (!text)
        return std::nullopt;
    const auto value = decimal(*text);
    if (!value)
        throw badQuery(name, "not a number, or too great");
    return value;
}

std::int64_t ApiCall::limit() const {
    constexpr std::int64_t usual = 100;
    constexpr std::int64_t most = 1000;
    const std::int64_t limit = number("limit").value_or(usual);
    if (limit < 1 || limit > most)
        throw badQuery("limit", "not from 1 to 1000");
    return limit;
}

std::int64_t ApiCall::id(std::string_view unknown) const {
    const auto id = decimal(variable);
    if (!id)
        throw RequestError(std::string(unknown), "there is nothing of this identifier", 404);
    return *id;
}

Response listResponse(std::string_view name, boost::json::array list, boost::json::value next) {
    return jsonResponse(
        200, boost::json::serialize(boost::json::object{{name, std::move(list)}, {"next", std::move(next)}}));
}

} // namespace webservice
