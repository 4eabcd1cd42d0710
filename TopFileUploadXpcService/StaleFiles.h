#pragma once

#include <string>

/// Files of other items in the temporary area.
namespace Quenmark::StaleFiles {

/// Removes files, folders and records of other items that occupy the path of a temporary file or of one of its parent
/// folders. Files claimed by an engine are kept; nothing outside the temporary area is removed.
void removeConflicting(const std::string& temporaryPath);

} // namespace Quenmark::StaleFiles
