#pragma once

#include <optional>
#include <string>

namespace Tools {

/// The options of a set-up; nil for one that is not given.
struct SetupArguments {
    std::optional<std::string> host;
    std::optional<std::string> mail;
    /// A file, or "-" for standard input.
    std::optional<std::string> passwordFile;
    std::optional<std::string> path;
    std::optional<std::string> computer;
    std::optional<std::string> user;
    /// Whether the unit of the user's service manager is enabled.
    bool enables = true;
};

} // namespace Tools
