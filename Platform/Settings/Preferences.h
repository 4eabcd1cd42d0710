#pragma once

#include "Platform/Error.h"

#include <boost/json/object.hpp>

#include <optional>
#include <string>
#include <string_view>

/// The user's preferences: one JSON object for each domain, in a file `<domain>.json` of the product's folder under the
/// user's configuration home (Environment.h). A file that cannot be read or is not a JSON object counts as absent, and
/// that is logged once for each state of the file, with its path and the place of the error. Each request checks the
/// file and reads it if it may have changed. A domain name that is not a plain file name ("", ".", "..", or one with
/// "/") names no domain.
namespace Platform::Preferences {

/// The file of a domain.
std::string pathOfDomain(std::string_view domain);
/// The whole domain as its file is now; nil when absent.
std::optional<boost::json::object> persistentDomainForName(std::string_view domain);
/// One value of a domain as its file is now; nil when the domain or the key is absent.
std::optional<boost::json::value> objectForKey(std::string_view domain, std::string_view key);

/// Changes one value, replacing the file in one step; other keys keep their values and their order. Writers exclude
/// one another by a lock file (flock(2)), so that no change is lost. A malformed file is not overwritten: it is an
/// error.
std::optional<Error> setObject(std::string_view domain, std::string_view key, const boost::json::value& value);
/// As `setObject`, of several values in one step.
std::optional<Error> setObjects(std::string_view domain, const boost::json::object& objects);
/// Removes a key. A key that is not there is no error.
std::optional<Error> removeObject(std::string_view domain, std::string_view key);

} // namespace Platform::Preferences
