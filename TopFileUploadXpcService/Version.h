#pragma once

namespace Quenmark {

/// The version, and in parentheses the commit where it is known.
const char* version();

} // namespace Quenmark
