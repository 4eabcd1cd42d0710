#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

// A request that cannot be taken as HTTP/1.x, with the status that says so.
class BadRequest : public std::runtime_error {
public:
    BadRequest(int status, const std::string& why) : std::runtime_error(why), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// Request line and header fields of an HTTP/1.0 or 1.1 request (RFC 9112). Values are the bytes that were sent,
// without the blanks around them.
struct RequestHead {
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    bool keepAlive = true;
    bool expectsContinue = false;
    bool chunked = false;
    std::uint64_t length = 0; // of the body, when it is not chunked

    // The first field of the name, in any case.
    std::optional<std::string_view> header(std::string_view name) const;

    // The target before and after its "?", still percent-encoded.
    std::string_view path() const;
    std::string_view query() const;
};

// Parses everything up to and including the empty line. Throws BadRequest.
RequestHead parseRequestHead(std::string_view head);

// Decodes "%41" and the like; nothing when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

// The decoded value of a name in "a=1&b=2", with "+" read as a blank; nothing when it is not there or malformed.
std::optional<std::string> queryValue(std::string_view query, std::string_view name);

} // namespace webservice
