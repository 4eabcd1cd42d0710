#include "Services/JsonPost.h"

#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Text.h"
#include "Services/Catalogue.h"

#include <utility>

namespace Quenmark::JsonPost {

namespace Log = Platform::Log;
using Platform::text;

namespace {

/// A log entry has no use for more of a body.
constexpr std::size_t maximumLogged = 128 << 10;

std::string excerpt(std::string_view body) {
    return std::string(body.substr(0, maximumLogged)) + (body.size() > maximumLogged ? "..." : "");
}

/// The error of a response that is not JSON, which may well be an error page.
Platform::Error withStatus(Platform::Error error, const std::optional<Platform::HttpUrlResponse>& response) {
    if (response && response->statusCode / 100 != 2)
        error.localizedDescription += " (HTTP " + std::to_string(response->statusCode) + ")";
    return error;
}

} // namespace

Log::Priority priorityOf(std::string_view path) {
    return path == Catalogue::getTopFileUpload.path ? Log::Priority::Debug : Log::Priority::Info;
}

Result<std::string> body(const boost::json::value& params, std::string_view logPrefix, Log::Priority priority) {
    auto written = Platform::Json::prettyPrinted(params);
    auto* json = std::get_if<std::string>(&written);
    Log::write(std::string(logPrefix) + (json != nullptr ? excerpt(*json) : text(std::nullopt)),
               json != nullptr ? priority : Log::Priority::Error);
    if (json == nullptr)
        return Result<std::string>(std::get<Platform::Error>(written));
    return Result<std::string>(std::move(*json));
}

Platform::UrlRequest request(std::optional<Platform::Url> url, std::string body) {
    Platform::UrlRequest request;
    request.url = std::move(url);
    request.timeoutInterval = std::chrono::seconds(60);
    request.setValueForHTTPHeaderField(std::to_string(body.size()), "Content-Length");
    request.httpMethod = "POST";
    request.httpBody = std::move(body);
    return request;
}

Platform::UrlRequest jsonRequest(std::optional<Platform::Url> url, std::string body) {
    auto result = request(std::move(url), std::move(body));
    result.addValueForHTTPHeaderField("application/json", "Content-Type");
    return result;
}

void finish(const std::optional<Platform::Data>& data, const std::optional<Platform::Error>& error,
            const Finished& finished, Log::Priority priority,
            const std::optional<Platform::HttpUrlResponse>& response) {
    using Response = Result<boost::json::value>;
    if (error) {
        Log::write("error code ...." + text(*error), Log::Priority::Warning);
        if (error->code == Platform::UrlError::Unknown) {
            Log::write("error code at rest connector strt async task......", Log::Priority::Error);
            return;
        }
        finished(Response(*error), RestStatusTransportError);
        Log::write("network error", Log::Priority::Warning);
        return;
    }
    auto decoded = Platform::Json::parse(data ? std::string_view(*data) : std::string_view());
    if (auto* json = std::get_if<boost::json::value>(&decoded)) {
        Log::write("response " + text(*json), priority);
        finished(Response(std::move(*json)), RestStatusSuccess);
    } else {
        Log::write("response " + text(std::nullopt), Log::Priority::Warning);
        finished(Response(withStatus(std::get<Platform::Error>(decoded), response)), RestStatusDecodeError);
    }
}

} // namespace Quenmark::JsonPost
