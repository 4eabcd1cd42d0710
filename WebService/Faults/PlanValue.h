#pragma once

#include "WebService/Http/Transmission.h"

#include <boost/json.hpp>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace webservice {

/// Throws RequestError "BadPlan" for a place of a plan.
[[noreturn]] void refusePlan(const std::string& place, const std::string& why);

/// The beginning of a text, for a message.
std::string shortened(std::string_view text);

/// A value of a fault plan and its place. A conversion to a type or range that it does not have refuses the plan.
class PlanValue {
public:
    PlanValue(const boost::json::value& value, std::string place) : value_(value), place_(std::move(place)) {}

    const std::string& place() const { return place_; }
    [[noreturn]] void refuse(const std::string& why) const { refusePlan(place_, why); }

    std::string text() const;
    /// A text that selects requests: neither empty nor longer than 1,000 bytes.
    std::string selector() const;
    std::uint64_t integer(std::int64_t least = 0) const;
    std::uint64_t integer(std::int64_t least, std::int64_t most) const;
    Transmission::Duration seconds() const;
    const boost::json::object& object() const;
    const boost::json::array& list() const;
    PlanValue entry(std::size_t index) const;
    PlanValue member(std::string_view name) const;

private:
    const boost::json::value& value_;
    std::string place_;
};

/// The members of an object, which are asked for one by one.
class PlanMembers {
public:
    explicit PlanMembers(const PlanValue& object) : object_(object) { object.object(); }

    PlanValue required(std::string_view name);
    std::optional<PlanValue> optional(std::string_view name);

    /// Refuses members that were not asked for.
    void refuseOthers() const;

private:
    PlanValue object_;
    std::set<std::string, std::less<>> known_;
};

} // namespace webservice
