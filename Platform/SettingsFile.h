#pragma once

#include "Platform/Error.h"

#include <boost/json/object.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

/// Files that hold one JSON object of settings.
namespace Platform::SettingsFile {

/// A larger file is not read.
inline constexpr std::uint64_t maximumSize = 16 << 20;

/// Reads the object; nil where no file is, an error where there is one that cannot be read, is no regular file, is
/// too large or holds no JSON object. The error names the path and the place.
std::variant<std::optional<boost::json::object>, Error> read(const std::string& path);

/// As `read`, for whom a file that is no good counts as absent: its error is logged once for each state of the file
/// (inode, time of change and size).
std::optional<boost::json::object> readOrLog(const std::string& path);

} // namespace Platform::SettingsFile
