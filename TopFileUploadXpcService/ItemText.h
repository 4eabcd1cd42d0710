#pragma once

#include <boost/json/value.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace Quenmark {

/// The text of a value that should be a text: a string as it is, a number or boolean in its log form. Nil, JSON null,
/// and a dictionary or array, which is logged under `name`, give nil.
std::optional<std::string> itemText(const std::optional<boost::json::value>& value, std::string_view name);

/// The name of an item as a local path: every "\" a "/"; nothing else is changed or looked at.
std::string convertedName(const std::optional<std::string>& fileName);

} // namespace Quenmark
