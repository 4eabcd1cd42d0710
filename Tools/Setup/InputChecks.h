#pragma once

#include <optional>
#include <string>

/// What is wrong with a value that a person or the web service gives, as the end of a sentence that begins with the
/// value's name; nil where nothing is.
namespace Tools::InputChecks {

using Problem = std::optional<std::string>;

/// A name or address with an optional port.
Problem ofHost(const std::string& text);
/// An address as RFC 5321, section 4.1.2 has it, as far as that matters here: something on both sides of an "@", in at
/// most 254 bytes without blanks (RFC 5321, section 4.5.3.1.3, without the brackets of a path).
Problem ofMail(const std::string& text);
/// An absolute path in one line of UTF-8, as the preferences keep it.
Problem ofFolder(const std::string& text);
/// An identifier of a user or computer: 1 to 256 bytes of UTF-8 without control characters.
Problem ofIdentifier(const std::string& text);

} // namespace Tools::InputChecks
