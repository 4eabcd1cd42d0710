#pragma once

#include "Platform/Secret.h"

#include <optional>
#include <string>

namespace Tools {

/// The password in a file, a pipe, or, for "-", standard input, without the line end behind it. Throws Failure where it
/// cannot be read or is no password.
Platform::Secret readPassword(const std::string& source);

/// What is wrong with a password, as the end of a sentence; nil where nothing is.
std::optional<std::string> problemOfPassword(const std::string& password);

} // namespace Tools
