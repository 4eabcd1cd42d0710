#pragma once

#include "Platform/Error.h"
#include "Platform/Log.h"
#include "Platform/UrlLoading/UrlRequest.h"
#include "Services/Result.h"

#include <boost/json/value.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// The post of a JSON body that both connectors make, and what they make of its response.
namespace Quenmark::JsonPost {

/// Is called with the decoded response and `RestStatusSuccess`, or with nil or an error and another status.
using Finished = std::function<void(Result<boost::json::value>, std::uint64_t status)>;

/// The priority of the log entries of a post's body and response: the poll for the next item comes every two seconds.
Platform::Log::Priority priorityOf(std::string_view path);

/// The body of a post, written to the log, a long one up to 128 KiB, with `logPrefix` in front; or the error that keeps
/// the parameters from being written as JSON.
Result<std::string> body(const boost::json::value& params, std::string_view logPrefix,
                         Platform::Log::Priority priority = Platform::Log::Priority::Info);

/// A POST of `body` to `url`, without a "Content-Type".
Platform::UrlRequest request(std::optional<Platform::Url> url, std::string body);
/// As `request`, with the "Content-Type" of JSON.
Platform::UrlRequest jsonRequest(std::optional<Platform::Url> url, std::string body);

/// Logs the outcome of the post and reports it. An error with code -1 is logged and not reported, which is required.
/// The error of a response that is not JSON names its HTTP status, where that is not one of success.
void finish(const std::optional<Platform::Data>& data, const std::optional<Platform::Error>& error,
            const Finished& finished, Platform::Log::Priority priority = Platform::Log::Priority::Info,
            const std::optional<Platform::HttpUrlResponse>& response = std::nullopt);

} // namespace Quenmark::JsonPost
