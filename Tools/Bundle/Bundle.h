#pragma once

#include "Tools/Bundle/Archive.h"
#include "Tools/Bundle/Redactor.h"
#include "Tools/Doctor/Check.h"
#include "Tools/Status/ServiceStatus.h"

#include <boost/json/object.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Tools {

/// How many lines of the service's log a bundle has.
inline constexpr std::size_t maxLogLines = 2000;

/// The settings as their files hold them; a file that cannot be read has none.
struct BundledSettings {
    boost::json::object preferences;
    boost::json::object ownPreferences;
    boost::json::object deployment;
};

/// What a bundle is made of, before anything is removed from it.
struct BundleParts {
    std::vector<Check> checks;
    /// Nil where the service does not run, or does not tell its status.
    std::optional<ServiceStatus> status;
    BundledSettings settings;
    std::vector<std::pair<std::string, std::string>> versions;
    /// The entries of the log, the oldest first, or why there is none.
    std::variant<std::vector<std::string>, std::string> log;
};

/// Everything that the parts and this process's user say of a person.
Redactor redactorFor(const BundleParts& parts);

/// The files of a bundle, in a folder: the doctor's checks as table and JSON, the status, the settings, the versions
/// and the log. Nothing that `redactor` removes is in them: neither the values of preferences nor the names of items.
std::vector<ArchivedFile> bundleFiles(const BundleParts& parts, const Redactor& redactor);

} // namespace Tools
