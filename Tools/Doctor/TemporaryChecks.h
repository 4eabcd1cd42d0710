#pragma once

#include "Tools/Doctor/Check.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// What has been received in part, and what else the temporary area holds that was not placed.
struct PartialFiles {
    std::uint64_t count = 0;
    std::uint64_t bytes = 0;
    /// When the oldest was written to last, in seconds since 1970; of no meaning where there are none.
    std::int64_t oldest = 0;
    /// Whether there are more, which were not counted.
    bool isPart = false;
};

/// The files below the temporary area at `path`, but those of the service itself.
PartialFiles partialFilesIn(const std::string& path);
/// The check of partial files at a time, in seconds since 1970.
Check partialFilesCheck(const PartialFiles& files, std::int64_t now);

/// The checks of the temporary area: it is private and can be written to, has room, is on the file system of `folder`,
/// where that is known and there, and what it holds. The area is that of a service that has this process's environment.
std::vector<Check> temporaryChecks(const std::optional<std::string>& folder);

} // namespace Tools
