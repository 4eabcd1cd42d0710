#pragma once

#include <boost/json/object.hpp>

#include <optional>
#include <set>
#include <string>

namespace Quenmark {

/// Names in the log the settings that an engine needs and does not have.
class MissingSettings {
public:
    /// Looks at the shared preferences of a pass; nil where there are none. A key that is not set, or not to a text or
    /// number, is named at error priority once, and again only after it was set meanwhile.
    void report(const std::optional<boost::json::object>& preferences);

private:
    std::set<std::string> missing_;
};

} // namespace Quenmark
