#pragma once

#include <string>
#include <string_view>

namespace Tools {

/// A log entry with "[value]" in the place of the value of each quoted key, in JSON and in the multi-line form of
/// dictionaries, but for keys whose values tell nothing about a person ("ReturnStatus", "FileSize", "Content-Length").
std::string withoutValues(std::string_view entry);

/// As the entry, with "[credential]" in the place of what follows a password's or token's name and "=", and the
/// authentication schemes Basic and Bearer (RFC 7617, RFC 6750).
std::string withoutCredentials(std::string_view entry);

/// As the entry, with "[mail]" in the place of each mail address, and of the user and password in front of a host.
std::string withoutMailAddresses(std::string_view entry);

} // namespace Tools
