#pragma once

#include "Platform/Error.h"

#include <boost/json/value.hpp>

#include <string>
#include <string_view>
#include <variant>

namespace Platform::Json {

/// The domain and code of every error of this file.
inline constexpr const char* errorDomain = "JSON";
inline constexpr int errorCode = 3840;
/// How deep arrays and objects may be nested in a text that is read.
inline constexpr std::size_t maximumDepth = 512;
/// How many bytes the value of a text may take in memory. While it is read, its outermost list may be there twice.
inline constexpr std::size_t maximumValueSize = 256ULL << 20;

/// Reads a JSON text (RFC 8259) whose top level is an object or an array; a byte order mark in front is skipped.
/// The error names what is wrong and the byte where it is; a value above `maximumValueSize` is one. The value of a text
/// of 1 MiB or more lies in blocks that are freed together, when the last part of it goes: of such a value, copy what
/// is to be kept for long.
std::variant<boost::json::value, Error> parse(std::string_view text);

/// Writes `value` over several lines, two blanks a level. Fails on what JSON cannot carry: a string or a key that is
/// not UTF-8, a number that is not finite.
std::variant<std::string, Error> prettyPrinted(const boost::json::value& value);

} // namespace Platform::Json
