#pragma once

#include "Platform/Error.h"

#include <boost/json/fwd.hpp>

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

/// The text of any value, for the log and for comparisons of values as text: nil is "(null)", JSON null "<null>", a
/// string as it is, a number in decimal, a boolean 1 or 0; dictionaries and arrays take several lines.
std::string text(std::nullopt_t nil);
std::string text(std::string_view string);
std::string text(const Error& error);
std::string text(const boost::json::value& value);
std::string text(const boost::json::object& dictionary);
std::string text(const boost::json::array& array);

template <std::integral Number>
std::string text(Number number) {
    return std::to_string(number);
}

template <class Value>
std::string text(const std::optional<Value>& value) {
    return value ? text(*value) : text(std::nullopt);
}

/// The integer at the start of `string`: leading blanks, an optional sign and decimal digits; 0 where there are none,
/// and the nearest value where it does not fit.
int integerValue(std::string_view string);

} // namespace Platform
