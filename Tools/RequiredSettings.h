#pragma once

#include "Platform/Error.h"
#include "Tools/Failure.h"

#include <optional>

namespace Tools {

/// The failure of a settings file: InputOutput where it cannot be read or written, Configuration where it is malformed.
Failure settingsFailure(const Platform::Error& error);

/// What is wrong with the file that the deployment settings come from (DeploymentSettings.h), so that others take its
/// place; nil where nothing is, or where there is none.
std::optional<Platform::Error> deploymentError();

/// Sees to it that the service has what it needs to receive items: well-formed settings, the computer's identifier, and
/// the folder; in compatible mode the Quenmark folder too, which managed mode makes. Prints a line for each that is
/// missing, with what to do, and throws Failure.
void requireSettings();

} // namespace Tools
