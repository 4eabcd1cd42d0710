#pragma once

#include "Tools/CallArguments.h"
#include "Tools/Failure.h"

namespace Tools {

/// Carries out the call and prints its response. Needs that no run loop is there yet. Throws Failure where it comes to
/// nothing.
ExitStatus call(const CallArguments& arguments);

} // namespace Tools
