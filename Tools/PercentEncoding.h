#pragma once

#include <string>
#include <string_view>

namespace Tools {

/// The text with every byte escaped that is not unreserved (RFC 3986, sections 2.1 and 2.3).
std::string percentEncoded(std::string_view text);

} // namespace Tools
