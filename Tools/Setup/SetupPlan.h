#pragma once

#include "Platform/Secret.h"
#include "Tools/Setup/SetupArguments.h"
#include "Tools/Setup/SetupSettings.h"

#include <optional>
#include <string>

namespace Tools {

/// What a set-up is to do, by its options, by what is set already and by what a person has answered.
struct SetupPlan {
    std::string host;
    /// Whether requests went to another host up to now.
    bool hostChanges = false;
    /// The folder that holds the Quenmark folder.
    std::string path;
    /// Who signs in; nil where nobody has to.
    std::optional<std::string> mail;
    Platform::Secret password;
    /// The identifiers that are given.
    std::optional<std::string> user;
    std::optional<std::string> computer;
};

/// Asks for what is missing on the terminal. Throws Failure where an option is not valid, and where there is no
/// terminal to ask on.
SetupPlan makePlan(const SetupArguments& arguments, const KnownSettings& known);

} // namespace Tools
