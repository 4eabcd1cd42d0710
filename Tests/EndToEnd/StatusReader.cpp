#include "EndToEnd/StatusReader.h"

#include "Support/Command.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace Quenmark {

namespace {

std::string dataOf(const boost::json::object& entries, const std::string& name) {
    const auto* entry = entries.if_contains(name);
    if (entry == nullptr)
        return "(absent)";
    const auto& data = entry->as_object().at("data");
    return data.is_string() ? std::string(data.get_string()) : boost::json::serialize(data);
}

} // namespace

boost::json::object StatusReader::properties() {
    const auto result = TestSupport::runCommand(
        {"busctl", "--user", "--json=short", "call", "Velkarin.Quenmark.TopFileUploadXpcService",
         "/Velkarin/Quenmark/Status", "org.freedesktop.DBus.Properties", "GetAll", "s", "Velkarin.Quenmark.Status1"});
    if (result.status != 0)
        return {};
    return boost::json::parse(result.output).at("data").as_array().at(0).as_object();
}

std::vector<boost::json::object> StatusReader::engines() {
    std::vector<boost::json::object> engines;
    const auto all = properties();
    const auto* property = all.if_contains("Engines");
    if (property == nullptr)
        return engines;
    for (const auto& engine : property->at("data").as_array())
        engines.push_back(engine.as_object());
    return engines;
}

std::string StatusReader::member(const std::string& name) {
    return members({{name, ""}}).at(name);
}

StatusReader::Members StatusReader::members(const Members& wanted) {
    const auto all = engines();
    Members members;
    for (const auto& [name, value] : wanted)
        members[name] = all.size() == 1 ? dataOf(all.front(), name) : "(" + std::to_string(all.size()) + " engines)";
    return members;
}

std::string StatusReader::property(const std::string& name) {
    return dataOf(properties(), name);
}

} // namespace Quenmark
