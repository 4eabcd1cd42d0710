#pragma once

#include "Platform/Settings/DeploymentSettings.h"
#include "Tools/Doctor/Check.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// Less than this many free bytes are a warning.
inline constexpr std::uint64_t littleSpace = 1ULL << 30;

/// The check of a disk with so many bytes free, which holds what `path` names.
Check spaceCheck(const std::string& path, std::uint64_t freeBytes);

/// The folder that items are placed in, by the preference quenmarkPathKey, an absolute path. Managed mode makes a
/// missing Quenmark folder, but not the folder that holds it: where the first is missing, this is the second.
std::string placementFolder(const std::string& quenmarkPath, const Platform::DeploymentSettings& settings);

/// The checks of the folder that items are placed in: it exists, can be written to, also in the sandbox of the
/// service's unit, and has room. `quenmarkPath` is the preference, nil where it is not set.
std::vector<Check> folderChecks(const std::optional<std::string>& quenmarkPath,
                                const Platform::DeploymentSettings& settings);

} // namespace Tools
