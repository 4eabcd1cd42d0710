#pragma once

#include <boost/json/object.hpp>

#include <map>
#include <string>
#include <vector>

namespace Quenmark {

/// The status of the running service, as another program reads it from the bus.
class StatusReader {
public:
    /// Every property by its name, each with "type" and "data" as busctl(1) writes them; empty where the service cannot
    /// be asked. The bus launches a service that does not run.
    static boost::json::object properties();
    /// The entries of all engines, each member with "type" and "data".
    static std::vector<boost::json::object> engines();
    /// The data of a member of the only engine: a text as it is, a number in decimal, "(absent)" where there is no such
    /// member, and "(N engines)" where there is not one engine.
    static std::string member(const std::string& name);
    using Members = std::map<std::string, std::string>;
    /// The data of the members that `wanted` names, as `member` gives them, from one reading.
    static Members members(const Members& wanted);
    static std::string state() { return member("State"); }
    /// As `member`, of a property.
    static std::string property(const std::string& name);
};

} // namespace Quenmark
