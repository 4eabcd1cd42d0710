#pragma once

#include "Tools/CallArguments.h"
#include "Tools/Failure.h"

namespace Tools {

/// Carries out the call and prints its response. There must be no run loop yet. Throws Failure where it fails.
ExitStatus call(const CallArguments& arguments);

} // namespace Tools
