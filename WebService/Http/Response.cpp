#include "WebService/Http/Response.h"

#include <boost/json.hpp>

namespace webservice {

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

} // namespace webservice
