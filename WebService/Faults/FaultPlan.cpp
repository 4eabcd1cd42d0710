#include "WebService/Faults/FaultPlan.h"

#include <algorithm>

namespace webservice {

bool matches(std::string_view pattern, std::string_view text) {
    std::size_t at = 0;
    std::size_t in = 0;
    // Where the last "*" stands, and where what follows it was last tried: only that "*" may have to take more.
    std::size_t star = std::string_view::npos;
    std::size_t tried = 0;
    while (in < text.size()) {
        if (at < pattern.size() && pattern[at] == '*') {
            star = at++;
            tried = in;
        } else if (at < pattern.size() && pattern[at] == text[in]) {
            ++at;
            ++in;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            in = ++tried;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

bool FaultPlan::needsComputer(std::string_view path) const {
    return std::ranges::any_of(
        faults_, [&](const Fault& fault) { return fault.computer && (!fault.path || matches(*fault.path, path)); });
}

const Fault* FaultPlan::select(std::string_view path, const Computer& computer) {
    const std::optional<std::string> sender = needsComputer(path) ? computer() : std::nullopt;
    Fault* chosen = nullptr;
    for (Fault& fault : faults_) {
        if ((fault.path && !matches(*fault.path, path)) || (fault.computer && fault.computer != sender))
            continue;
        ++fault.seen;
        if (chosen == nullptr && fault.seen > fault.skip && (!fault.times || fault.applied < *fault.times)) {
            ++fault.applied;
            chosen = &fault;
        }
    }
    return chosen;
}

std::string FaultPlan::placeOf(const Fault& fault) const {
    return "faults[" + std::to_string(indexOf(fault)) + "]";
}

std::string FaultPlan::json() const {
    boost::json::array list;
    for (const Fault& fault : faults_) {
        boost::json::object entry = fault.source;
        entry["seen"] = fault.seen;
        entry["applied"] = fault.applied;
        list.push_back(std::move(entry));
    }
    return boost::json::serialize(boost::json::object{{"faults", std::move(list)}});
}

} // namespace webservice
