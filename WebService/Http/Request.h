#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

/// Request line and header fields of a request. Values are the bytes that were sent, without the blanks around them.
struct Request {
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    /// The local address of the connection, as a number.
    std::string ownAddress = {};
    /// Whether it was received over TLS.
    bool isSecure = false;

    /// The first field of the name, in any case.
    std::optional<std::string_view> header(std::string_view name) const;

    /// The target before and after its "?", still percent-encoded.
    std::string_view path() const;
    std::string_view query() const;
};

/// Decodes "%41" and the like; nothing when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

/// The decoded value of a name in "a=1&b=2", with "+" read as a blank; nothing when it is not there or malformed.
std::optional<std::string> queryValue(std::string_view query, std::string_view name);

} // namespace webservice
