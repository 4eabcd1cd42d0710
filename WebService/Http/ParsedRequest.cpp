#include "WebService/Http/ParsedRequest.h"

namespace webservice {

namespace beast = boost::beast;
namespace http = boost::beast::http;

RequestError badRequest(int status, const std::string& why) {
    return {"BadRequest", why, status};
}

Request requestOf(const RequestParser& parser, const ClientSocket& client) {
    const auto& message = parser.get();
    Request request{.method = message.method_string(),
                    .target = message.target(),
                    .headers = {},
                    .ownAddress = client.ownAddress(),
                    .isSecure = client.isSecure()};
    for (const auto& field : message)
        request.headers.emplace_back(field.name_string(), field.value());
    return request;
}

bool checkExpectation(const RequestParser& parser) {
    const auto expectation = parser.get()[http::field::expect];
    if (expectation.empty() || parser.get().version() < 11)
        return false;
    if (!beast::iequals(expectation, "100-continue"))
        throw badRequest(417, "the only expectation met here is 100-continue");
    return true;
}

void checkFraming(const RequestParser& parser) {
    if (parser.get().count(http::field::transfer_encoding) != 0 &&
        !beast::iequals(parser.get()[http::field::transfer_encoding], "chunked"))
        throw badRequest(501, "the only Transfer-Encoding known here is chunked");
}

} // namespace webservice
