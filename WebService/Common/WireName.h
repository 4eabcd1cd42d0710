#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Whether the text is well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF).
bool isUtf8(std::string_view text);

/// Whether a file or folder of this name can be expressed on the wire: UTF-8, without backslash (the separator there),
/// "/", control characters (not allowed in a header field), and not empty, "." or "..".
bool isExpressible(std::string_view component);

/// The most components, and the most bytes, of a path below a computer's folder. A longer one could not be opened by
/// its path (PATH_MAX, limits.h(0p)), and each level costs time whenever it is opened.
constexpr std::size_t maxLevels = 100;
constexpr std::size_t maxPathLength = 3072;

/// What the path of a request for an item of the outbox begins with: PUT /outbox/COMPUTER/PATH makes one.
constexpr std::string_view outboxRoot = "/outbox/";

/// The wire name of a path below a computer's folder: "Docs/a.txt" becomes "\Docs\a.txt". Nil when a component of it
/// cannot be expressed, when it has too many of them or is too long.
std::optional<std::string> wireName(std::string_view path);

/// The path of a wire name: "\Docs\a.txt" becomes "Docs/a.txt".
std::string outboxPath(std::string_view name);

/// The wire name of a computer's path within its Quenmark folder: "\Docs\a.txt" for "Docs\a.txt", and also for
/// "Users\ann\Quenmark\Docs\a.txt" where the Quenmark folder is in "Users\ann". Slashes count as backslashes. Nil when
/// it cannot be expressed, for instance because of a "..".
std::optional<std::string> nameWithin(std::string_view quenmarkPath, std::string_view fullPath);

} // namespace webservice
