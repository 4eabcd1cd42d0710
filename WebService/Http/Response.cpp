#include "WebService/Http/Response.h"

#include <boost/beast/http/status.hpp>
#include <boost/json.hpp>

#include <algorithm>

namespace webservice {

std::string headerSection(const Response& response, std::uint64_t length, bool keepAlive) {
    namespace http = boost::beast::http;
    std::string header = "HTTP/1.1 " + std::to_string(response.status) + ' ';
    header += http::obsolete_reason(http::int_to_status(static_cast<unsigned>(response.status)));
    header += "\r\n";
    for (const auto& [name, value] : response.headers) {
        header.append(name).append(": ");
        std::ranges::transform(value, std::back_inserter(header), [](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 || byte == 0x7f ? ' ' : c;
        });
        header += "\r\n";
    }
    header += "Content-Length: " + std::to_string(length) + (keepAlive ? "\r\n\r\n" : "\r\nConnection: close\r\n\r\n");
    return header;
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
