#pragma once

#include "Platform/Error.h"
#include "Tools/Failure.h"

#include <boost/json/object.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace Tools {

/// The failure of a settings file: InputOutput where it cannot be read or written, Configuration where it is malformed.
Failure settingsFailure(const Platform::Error& error);

/// A preference's text; nil where it is not set, empty or no text at all.
std::optional<std::string> preferenceText(const boost::json::object& preferences, std::string_view key);

/// The shared preferences, as their file is now. Throws Failure where it cannot be read or is malformed.
boost::json::object sharedPreferences();

/// The deployment settings below a configuration directory.
inline constexpr const char* deploymentFile = "quenmark/deployment.json";

/// What the file says that the deployment settings come from; nil where there is none. Throws as `requireDeployment`.
std::optional<boost::json::object> deploymentValues();

/// Throws Failure where the file that the deployment settings come from (DeploymentSettings.h) cannot be read or is
/// malformed, or has a value that is not usable, so that other settings would take the place of those in it, another
/// host among them. Prints a line for each such value but the one that the failure names.
void requireDeployment();

/// The Quenmark folder, in which items are placed. Throws Failure where the preferences are malformed or do not name
/// it.
std::string requireQuenmarkPath();

/// Sees to it that the service has what it needs to receive items: well-formed settings, the computer's identifier, and
/// the folder; in compatible mode the Quenmark folder too, which managed mode makes. Prints a line for each that is
/// missing, with what to do, and throws Failure.
void requireSettings();

} // namespace Tools
