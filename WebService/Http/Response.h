#pragma once

#include "WebService/Common/RequestError.h"
#include "WebService/Http/EventSource.h"
#include "WebService/Http/FileSlice.h"
#include "WebService/Http/Transmission.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

struct Response {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// A part of a file, instead of `body`.
    std::optional<FileSlice> file;
    /// Instead of both: the end of the connection ends it.
    std::shared_ptr<EventSource> events = nullptr;
    /// Null where it is sent in the usual way.
    std::shared_ptr<const Transmission> transmission = nullptr;
    /// The place of the fault that was applied to it.
    std::optional<std::size_t> fault = std::nullopt;

    std::uint64_t length() const { return file ? file->length : body.size(); }
};

/// Whether the end of the body is still where the header fields say, so that another response may follow.
bool keepsFraming(const Transmission& transmission);

/// The status line and the header fields, ended by an empty line, of a response, changed as its transmission says.
/// Control characters in values become blanks, so that no value ends its line.
std::string headerSection(const Response& response, bool keepAlive);

/// A response with a JSON text as its body.
Response jsonResponse(int status, std::string json);

/// The response for an error, {"ReturnStatus":"1","error":{"code":…,"message":…}}.
Response errorResponse(const RequestError& error);

} // namespace webservice
