#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Whether the text is well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF).
bool isUtf8(std::string_view text);

/// Whether a file or folder of this name can be told on the wire: UTF-8, without backslash (it is the separator
/// there), "/", control characters (they cannot stand in a header), and not empty, "." or "..".
bool isExpressible(std::string_view component);

/// How many components, and how many bytes, a path below a computer's folder may have. A longer one could not be
/// reached by its path (PATH_MAX, limits.h(0p)), and each level costs at every look at it.
constexpr std::size_t mostLevels = 100;
constexpr std::size_t longestPath = 3072;

/// The wire name of a path below a computer's folder: "Docs/a.txt" becomes "\Docs\a.txt". Nothing when a component
/// of it cannot be expressed, and when it has too many of them or is too long.
std::optional<std::string> wireName(std::string_view path);

/// The path of a wire name: "\Docs\a.txt" becomes "Docs/a.txt".
std::string outboxPath(std::string_view name);

/// The wire name of the folder that holds the item; empty for an item directly in the computer's folder.
std::string_view parentName(std::string_view name);

/// The wire name that a computer's path has within its Quenmark folder: "\Docs\a.txt" for "Docs\a.txt", and also for
/// "Users\ann\Quenmark\Docs\a.txt" where the Quenmark folder lies in "Users\ann". Slashes count as backslashes.
/// Nothing when it cannot be expressed, for instance because of a "..".
std::optional<std::string> nameWithin(std::string_view quenmarkPath, std::string_view fullPath);

} // namespace webservice
