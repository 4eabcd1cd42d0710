#pragma once

#include <cstddef>
#include <string_view>

namespace Platform {

/// The place of the first byte of `string` that is not part of well-formed UTF-8 (RFC 3629), or npos.
std::size_t firstInvalidUtf8(std::string_view string);

} // namespace Platform
