#pragma once

#include "Platform/Error.h"

#include <cstdint>
#include <optional>

/// Processes of this machine, by their identifiers as this process sees them (pid_namespaces(7)).
namespace Platform::Process {

/// The identifier of this process.
std::uint64_t ownIdentifier();
/// Asks a process to end (SIGTERM; kill(2)). An identifier that names no single process is an error (EINVAL).
std::optional<Error> terminate(std::uint64_t identifier);

} // namespace Platform::Process
