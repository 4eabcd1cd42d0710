#pragma once

#include <string_view>

namespace Quenmark::Base64 {

/// Whether `text` is UTF-8 by RFC 3629, section 4: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text);

} // namespace Quenmark::Base64
