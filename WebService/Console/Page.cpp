#include "WebService/Console/Page.h"

#include "WebService/Console/ConsoleFiles.h"

#include <algorithm>

namespace webservice {

namespace {

constexpr std::string_view filesRoot = "/console/";

Response fileResponse(const char* type, const char* caching, std::string_view content) {
    Response response;
    response.headers = {{"Content-Type", type},
                        {"Content-Security-Policy",
                         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src "
                         "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
                        {"X-Content-Type-Options", "nosniff"},
                        {"Referrer-Policy", "no-referrer"},
                        {"Cache-Control", caching}};
    response.body = content;
    return response;
}

/// The file at "VERSION/NAME"; null where there is none, and for the version of another program.
const ConsoleFile* findFile(std::string_view path) {
    const std::string_view version = consoleVersion();
    if (!path.starts_with(version) || !path.substr(version.size()).starts_with('/'))
        return nullptr;
    const auto file = std::ranges::find(consoleFiles(), path.substr(version.size() + 1), &ConsoleFile::name);
    return file == consoleFiles().end() ? nullptr : &*file;
}

} // namespace

bool isConsoleFilePath(std::string_view path) {
    return path == "/" || path.starts_with(filesRoot);
}

std::optional<Response> consoleFile(std::string_view path) {
    if (path == "/")
        return fileResponse("text/html; charset=utf-8", "no-cache", consolePage());
    const ConsoleFile* const file = path.starts_with(filesRoot) ? findFile(path.substr(filesRoot.size())) : nullptr;
    if (file == nullptr)
        return std::nullopt;
    const bool isStyle = file->name.ends_with(".css");
    return fileResponse(isStyle ? "text/css; charset=utf-8" : "text/javascript; charset=utf-8",
                        "public, max-age=31536000, immutable", file->content);
}

} // namespace webservice
