#include "Tools/Status/StatusJson.h"

#include <boost/json/array.hpp>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace Tools {

namespace {

template <class Record>
void addMembers(const Record& record, boost::json::object& object);

boost::json::value jsonOf(const std::string& text) {
    return boost::json::value(text);
}

boost::json::value jsonOf(std::uint64_t number) {
    return number;
}

boost::json::value jsonOf(const Moment& moment) {
    return boost::json::value(isoTime(moment));
}

boost::json::value jsonOf(const std::vector<EngineStatus>& engines) {
    boost::json::array array;
    array.reserve(engines.size());
    for (const auto& engine : engines)
        addMembers(engine, array.emplace_back(boost::json::object()).as_object());
    return array;
}

std::string memberName(std::string_view name) {
    std::string result(name);
    result.front() = static_cast<char>(result.front() + ('a' - 'A'));
    return result;
}

template <class Member>
void add(boost::json::object& object, const char* name, const Member& member) {
    object.emplace(memberName(name), jsonOf(member));
}

template <class Member>
void add(boost::json::object& object, const char* name, const std::optional<Member>& member) {
    if (member)
        add(object, name, *member);
}

template <class Record>
void addMembers(const Record& record, boost::json::object& object) {
    std::apply([&](const auto&... field) { (add(object, field.name, record.*field.member), ...); }, Record::fields());
}

} // namespace

std::string isoTime(const Moment& moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(std::chrono::microseconds(moment.microseconds));
    const std::time_t time = seconds.count();
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    std::array<char, 64> text{};
    // Not strftime(3), whose %Y has fewer than four digits for an early year.
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text.data();
}

boost::json::object statusJson(const std::optional<ServiceStatus>& status) {
    boost::json::object object{{"running", status.has_value()}};
    if (status)
        addMembers(*status, object);
    return object;
}

} // namespace Tools
