#include "WebService/Console/Page.h"

#include "WebService/Console/ConsoleFiles.h"

namespace webservice {

namespace {

Response fileResponse(const char* type, std::string_view content) {
    Response response;
    response.headers = {{"Content-Type", type},
                        {"Content-Security-Policy",
                         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src "
                         "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Cache-Control", "no-cache"}};
    response.body = content;
    return response;
}

} // namespace

std::optional<Response> consoleFile(std::string_view path) {
    if (path == "/")
        return fileResponse("text/html; charset=utf-8", consolePage());
    if (path == "/console.css")
        return fileResponse("text/css; charset=utf-8", consoleStyle());
    if (path == "/console.js")
        return fileResponse("text/javascript; charset=utf-8", consoleScript());
    return std::nullopt;
}

} // namespace webservice
