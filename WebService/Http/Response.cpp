#include "WebService/Http/Response.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/json.hpp>

#include <algorithm>

namespace webservice {

namespace {

namespace http = boost::beast::http;
using boost::beast::iequals;

/// Control characters become blanks.
void addField(std::string& section, std::string_view name, std::string_view value) {
    section.append(name).append(": ");
    std::ranges::transform(value, std::back_inserter(section), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f ? ' ' : c;
    });
    section += "\r\n";
}

bool isChanged(const Transmission::HeaderChanges& changes, std::string_view name) {
    return std::ranges::any_of(changes.remove, [&](const auto& removed) { return iequals(removed, name); }) ||
           std::ranges::any_of(changes.set, [&](const auto& field) { return iequals(field.first, name); });
}

} // namespace

bool keepsFraming(const Transmission& transmission) {
    const auto isKept = [&](std::string_view name) { return !isChanged(transmission.headers, name); };
    return isKept("Content-Length") && isKept("Transfer-Encoding") && isKept("Connection");
}

std::string headerSection(const Response& response, bool keepAlive) {
    std::string header = "HTTP/1.1 " + std::to_string(response.status) + ' ';
    if (const auto status = http::int_to_status(static_cast<unsigned>(response.status));
        status != http::status::unknown)
        header += http::obsolete_reason(status);
    header += "\r\n";
    const auto add = [&](std::string_view name, std::string_view value) {
        if (!response.transmission || !isChanged(response.transmission->headers, name))
            addField(header, name, value);
    };
    for (const auto& [name, value] : response.headers)
        add(name, value);
    if (!response.events)
        add("Content-Length", std::to_string(response.length()));
    if (!keepAlive)
        add("Connection", "close");
    if (response.transmission) {
        for (const auto& [name, value] : response.transmission->headers.set)
            addField(header, name, value);
    }
    return header += "\r\n";
}

Response jsonResponse(int status, std::string json) {
    Response response;
    response.status = status;
    response.headers.emplace_back("Content-Type", "application/json");
    response.body = std::move(json);
    return response;
}

Response errorResponse(const RequestError& error) {
    const boost::json::object members = {{"code", error.code()}, {"message", error.what()}};
    Response response = jsonResponse(
        error.status(), boost::json::serialize(boost::json::object{{"ReturnStatus", "1"}, {"error", members}}));
    response.headers.insert(response.headers.end(), error.headers().begin(), error.headers().end());
    return response;
}

} // namespace webservice
