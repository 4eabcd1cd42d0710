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

/// The settings that a set-up writes.
struct NewSettings {
    std::string host;
    std::string computer;
    std::string user;
    std::string path;
};

/// Writes the preferences, and the user's deployment settings with managed mode; other members of both stay. Where a
/// value differs from the deployment settings that an installation has for every user, the other values are copied from
/// there into the user's file. Writes the drop-in of the service's unit too (`Sandbox`), and returns whether it has
/// changed. Throws Failure where one file cannot be written; then the others are as they were.
bool writeSettings(const NewSettings& settings);

} // namespace Tools
