#pragma once

#include "Tools/Failure.h"
#include "Tools/Setup/SetupArguments.h"

namespace Tools {

/// Sets this computer up: signs the user in and registers the computer where that is not done yet, makes the Quenmark
/// folder, writes the settings and has the service started. Changes what the arguments name and keeps the rest. Throws
/// Failure where it fails; then the settings are as they were. There must be no run loop.
ExitStatus setUp(const SetupArguments& arguments);

} // namespace Tools
