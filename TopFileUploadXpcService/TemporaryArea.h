#pragma once

#include "Platform/Environment.h"
#include "Platform/PrivateArea.h"

namespace Quenmark {

/// The folder of the system temporary directory in which items are gathered.
inline constexpr const char* temporaryAreaName = "QuenmarkTemp";

/// The temporary area, in the temporary directory as it is set now. The paths of items in it come from the web service
/// and are joined with no separator, so they may lie beside it too.
inline Platform::PrivateArea temporaryArea() {
    return {Platform::Environment::temporaryDirectory(), temporaryAreaName};
}

} // namespace Quenmark
