#pragma once

#include "Platform/Error.h"
#include "Tools/CallArguments.h"
#include "Tools/Failure.h"

#include <cstdint>

namespace Tools {

/// Carries out the call and prints its response. There must be no run loop yet. Throws Failure where it fails.
ExitStatus call(const CallArguments& arguments);

/// The failure of an operation that ended with that status (RestStatus.h) in the place of a response, and with that
/// error where there is one.
Failure callFailure(std::int64_t status, const Platform::Error* error);

} // namespace Tools
