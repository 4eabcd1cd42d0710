#include "WebService/Http/Response.h"

#include <boost/json.hpp>

namespace webservice {

namespace {

std::string_view reason(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 409:
        return "Conflict";
    case 413:
        return "Content Too Large";
    case 417:
        return "Expectation Failed";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 505:
        return "HTTP Version Not Supported";
    case 507:
        return "Insufficient Storage";
    default:
        return "Unknown";
    }
}

} // namespace

Response jsonResponse(int status, std::string json) {
    Response response;
    response.status = status;
    response.headers.emplace_back("Content-Type", "application/json");
    response.body = std::move(json);
    return response;
}

Response errorResponse(int status, std::string_view code, std::string_view message) {
    const boost::json::object error = {{"code", code}, {"message", message}};
    return jsonResponse(status, boost::json::serialize(boost::json::object{{"ReturnStatus", "1"}, {"error", error}}));
}

std::string responseHead(const Response& response, bool keepAlive) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ';
    head.append(reason(response.status)).append("\r\n");
    for (const auto& [name, value] : response.headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    const std::uint64_t length = response.file ? response.file->length : response.body.size();
    head.append("Content-Length: ").append(std::to_string(length)).append("\r\n");
    head.append(keepAlive ? "\r\n" : "Connection: close\r\n\r\n");
    return head;
}

} // namespace webservice
