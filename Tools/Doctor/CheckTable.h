#pragma once

#include "Tools/Doctor/Check.h"

#include <boost/json/array.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// The checks as a person reads them: a line each, with its mark, subject, finding and advice; and a last line that
/// counts what is not fine. With the width of a terminal, lines are wrapped before its last column.
std::string checkTable(const std::vector<Check>& checks, bool hasColours, std::optional<std::size_t> columns);

/// The checks for programs: an array of {"check", "state", "detail", "advice"}, all of them strings.
boost::json::array checksJson(const std::vector<Check>& checks);

} // namespace Tools
