#pragma once

#include "WebService/Common/RequestError.h"
#include "WebService/Http/ClientSocket.h"
#include "WebService/Http/Request.h"

#include <boost/beast/http.hpp>

#include <string>

namespace webservice {

using RequestParser = boost::beast::http::request_parser<boost::beast::http::buffer_body>;

/// The error of a request that cannot be understood.
RequestError badRequest(int status, const std::string& why);

/// What the parser has of a request of this client, its target as path and query.
Request requestOf(const RequestParser& parser, const ClientSocket& client);

/// Whether the client waits for a 100 before it sends the body. An HTTP/1.0 client cannot expect anything (RFC 9110,
/// section 10.1.1). Throws RequestError for another expectation.
bool checkExpectation(const RequestParser& parser);

/// Throws RequestError for a transfer coding that does not end in "chunked", which leaves the end of the body unknown
/// (RFC 9112, section 6.3).
void checkFraming(const RequestParser& parser);

} // namespace webservice
