#pragma once

#include "Tools/Completion/Candidates.h"

#include <optional>
#include <string>
#include <vector>

namespace Tools::Completion {

/// The computers of the development web service at `server`, or where that is nil at the host of the deployment
/// settings, described by the mail address of their user: the first 1000 with a valid identifier. Empty where no such
/// service responds. Needs a process without a run loop, and returns when the response has come: the caller sets a
/// limit.
std::vector<Candidates::Word> computersAt(const std::optional<std::string>& server);

} // namespace Tools::Completion
