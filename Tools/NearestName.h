#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Tools {

/// How many letters must be added, removed or replaced to make one text the other (Levenshtein distance), letter case
/// ignored.
std::size_t editDistance(std::string_view one, std::string_view other);

/// The name that is nearest to `name`; the first of several. "" where there are no names.
std::string_view nearestName(std::string_view name, const std::vector<std::string_view>& names);

} // namespace Tools
