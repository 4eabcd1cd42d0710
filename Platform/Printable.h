#pragma once

#include <string>
#include <string_view>

namespace Platform {

/// The text as one line without terminal control characters: control characters (C0, DEL and C1; ECMA-48), the line and
/// paragraph separators U+2028 and U+2029, and every byte that is not part of well-formed UTF-8 are written as \xNN.
std::string printable(std::string_view text);

/// As `printable`, but tabs stay, and so do line feeds.
std::string printableLines(std::string_view text);

} // namespace Platform
