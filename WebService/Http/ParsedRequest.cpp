#include "WebService/Http/ParsedRequest.h"

#include <algorithm>

namespace webservice {

namespace beast = boost::beast;
namespace http = boost::beast::http;

RequestError badRequest(int status, const std::string& why) {
    return {"BadRequest", why, status};
}

namespace {

/// A client of a proxy sends the scheme and the authority too. The authority then counts, and no `Host` does (RFC 9112,
/// section 3.2.2).
void useAuthorityOfTarget(Request& request) {
    const std::size_t schemeEnd = request.target.find("://");
    const std::string_view scheme = std::string_view(request.target).substr(0, schemeEnd);
    if (schemeEnd == std::string::npos || !(beast::iequals(scheme, "http") || beast::iequals(scheme, "https")))
        return;
    const std::size_t begin = schemeEnd + 3;
    const std::size_t end = std::min(request.target.find_first_of("/?", begin), request.target.size());
    std::erase_if(request.headers, [](const auto& field) { return beast::iequals(field.first, "Host"); });
    request.headers.emplace_back("Host", request.target.substr(begin, end - begin));
    request.target.erase(0, end);
    if (!request.target.starts_with('/'))
        request.target.insert(0, "/");
}

} // namespace

Request requestOf(const RequestParser& parser, const ClientSocket& client) {
    const auto& message = parser.get();
    Request request{.method = message.method_string(),
                    .target = message.target(),
                    .headers = {},
                    .ownAddress = client.ownAddress(),
                    .isSecure = client.isSecure()};
    for (const auto& field : message)
        request.headers.emplace_back(field.name_string(), field.value());
    useAuthorityOfTarget(request);
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
