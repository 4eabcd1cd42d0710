#pragma once

namespace Tools {

/// The version, and in parentheses the commit where it is known.
const char* version();

} // namespace Tools
