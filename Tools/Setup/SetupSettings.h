#pragma once

#include <optional>
#include <string>

namespace Tools {

/// What is set already; nil for what is not.
struct KnownSettings {
    /// The host that the deployment settings name.
    std::optional<std::string> host;
    std::optional<std::string> computer;
    std::optional<std::string> user;
    /// The folder that holds the Quenmark folder.
    std::optional<std::string> path;
};

/// Throws Failure where the preferences or the deployment settings cannot be read or are malformed.
KnownSettings knownSettings();

/// What a computer has that is set up.
struct NewSettings {
    std::string host;
    std::string computer;
    std::string user;
    std::string path;
};

/// Writes the preferences and the user's deployment settings, these with managed mode; everything else in both stays.
/// Where a value is to differ from the deployment settings that an installation has for every user, the user's get
/// copies of the others. Writes the drop-in of the service's unit too (`Sandbox`), and returns whether it has changed.
/// Throws Failure where one file cannot be written; then the others are as they were.
bool writeSettings(const NewSettings& settings);

} // namespace Tools
