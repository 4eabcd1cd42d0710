#pragma once

#include "Platform/Files/PrivateArea.h"

#include <optional>
#include <string>

/// Where items are placed, and where files are gathered before. Names are joined as they are: nothing is trimmed,
/// resolved or normalised, and no separator is added.
namespace Quenmark::LocalPaths {

/// The name of an item as a local path: every "\" a "/".
std::string localName(const std::optional<std::string>& fileName);
/// The place of an item in the Quenmark folder, which is in the folder `quenmarkPath`.
std::string finalPath(const std::string& quenmarkPath, const std::optional<std::string>& fileName);
/// The temporary path of a file.
std::string temporaryPath(const std::optional<std::string>& fileName);

/// Whether the place of an item is inside the Quenmark folder: its name begins with a separator, and no component is
/// empty, "." or "..", or holds a zero byte.
bool isInsideFolder(const std::optional<std::string>& fileName);

/// The temporary area, in the temporary directory as it is set now. A temporary path may lie beside it too.
Platform::PrivateArea temporaryArea();
/// The file of the temporary area by which processes keep out of each other's way (`ItemClaims`). No item's path holds
/// a backslash, so that no item can be in its place.
std::string claimsFile();
/// The file of the temporary area that holds the record of a temporary file (`ItemRecord`). No item can be in its
/// place.
std::string recordFile(const std::string& temporaryPath);
/// The top-level folder, in the temporary area, of the item at a temporary path. Throws std::out_of_range where no
/// component follows the area's.
std::string topLevelFolder(const std::string& path);

} // namespace Quenmark::LocalPaths
