#include "WebService/Faults/PlanValue.h"

#include "WebService/Common/RequestError.h"

namespace webservice {

namespace {

constexpr std::int64_t maxInteger = (std::int64_t{1} << 53) - 1; // what every JSON parser has exactly (RFC 8259, 6)
constexpr double maxSeconds = 86'400;
constexpr std::size_t maxSelector = 1000;
constexpr std::size_t maxShortText = 60;

} // namespace

void refusePlan(const std::string& place, const std::string& why) {
    throw RequestError("BadPlan", place + ": " + why, 400);
}

std::string shortened(std::string_view text) {
    if (text.size() <= maxShortText)
        return std::string(text);
    std::size_t end = maxShortText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        --end;
    return std::string(text.substr(0, end)) + "...";
}

std::string PlanValue::text() const {
    if (!value_.is_string())
        refuse("must be a string");
    return std::string(value_.get_string());
}

std::string PlanValue::selector() const {
    std::string selected = text();
    if (selected.empty() || selected.size() > maxSelector)
        refuse("must have 1 to " + std::to_string(maxSelector) + " bytes");
    return selected;
}

std::uint64_t PlanValue::integer(std::int64_t least) const {
    return integer(least, maxInteger);
}

std::uint64_t PlanValue::integer(std::int64_t least, std::int64_t most) const {
    if (!value_.is_int64() || value_.get_int64() < least || value_.get_int64() > most)
        refuse("must be an integer from " + std::to_string(least) + " to " + std::to_string(most));
    return static_cast<std::uint64_t>(value_.get_int64());
}

Transmission::Duration PlanValue::seconds() const {
    const double number = value_.is_number() ? value_.to_number<double>() : -1;
    if (!(number >= 0 && number <= maxSeconds))
        refuse("must be a number from 0 to 86400");
    return std::chrono::duration_cast<Transmission::Duration>(std::chrono::duration<double>(number));
}

const boost::json::object& PlanValue::object() const {
    if (!value_.is_object())
        refuse("must be an object");
    return value_.get_object();
}

const boost::json::array& PlanValue::list() const {
    if (!value_.is_array())
        refuse("must be a list");
    return value_.get_array();
}

PlanValue PlanValue::entry(std::size_t index) const {
    return {list()[index], place_ + '[' + std::to_string(index) + ']'};
}

PlanValue PlanValue::member(std::string_view name) const {
    return {object().at(name), place_.empty() ? shortened(name) : place_ + '.' + shortened(name)};
}

PlanValue PlanMembers::required(std::string_view name) {
    const auto found = optional(name);
    if (!found)
        refusePlan(object_.place().empty() ? std::string(name) : object_.place() + '.' + std::string(name),
                   "is missing");
    return *found;
}

std::optional<PlanValue> PlanMembers::optional(std::string_view name) {
    known_.emplace(name);
    return object_.object().contains(name) ? std::optional(object_.member(name)) : std::nullopt;
}

void PlanMembers::refuseOthers() const {
    for (const auto& member : object_.object()) {
        if (!known_.contains(std::string_view(member.key())))
            object_.member(member.key()).refuse("is unknown");
    }
}

} // namespace webservice
