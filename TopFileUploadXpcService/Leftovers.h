#pragma once

#include <string>

/// What other items have left in the temporary area.
namespace Quenmark::Leftovers {

/// Removes what other items have left at the path of a temporary file, or at that of a folder on its way: a file, or a
/// folder with all that is in it, and their records. A file that an engine is at work on stays, and nothing outside of
/// the temporary area is touched.
void makeWayFor(const std::string& temporaryPath);

} // namespace Quenmark::Leftovers
