#pragma once

#include "Tools/Completion/Candidates.h"
#include "Tools/Completion/TypedLine.h"

#include <string>

namespace Tools::Completion {

/// What may be the value of an option or of a positional argument, of which `typed` is there. No words where only the
/// user knows.
Candidates valuesOf(const CLI::Option& option, const TypedLine& line, const std::string& typed);

} // namespace Tools::Completion
