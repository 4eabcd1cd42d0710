#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/FileIdentity.h"
#include "WebService/Common/RequestError.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

/// A range of an open file, sent as a body. When the file changes while it is being sent, the connection is closed
/// before the last byte, so that the client does not take a mixture for the file.
struct FileSlice {
    Descriptor file;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    FileIdentity identity;
};

struct Response {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::optional<FileSlice> file; // instead of `body`
};

/// The status line and the header fields, ended by an empty line, of a response whose body has `length` bytes. Control
/// characters in values become blanks, so that no value ends its line.
std::string headerSection(const Response& response, std::uint64_t length, bool keepAlive);

/// A response with a JSON text as its body.
Response jsonResponse(int status, std::string json);

/// The response for an error, {"ReturnStatus":"1","error":{"code":…,"message":…}}.
Response errorResponse(const RequestError& error);

} // namespace webservice
