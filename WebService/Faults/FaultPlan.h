#pragma once

#include "WebService/Faults/FaultAction.h"

#include <boost/json.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// One entry of a plan: which requests it selects, and what happens to some of them.
struct Fault {
    /// As it was given.
    boost::json::object source;
    std::optional<std::string> path = std::nullopt;
    std::optional<std::string> computer = std::nullopt;
    std::uint64_t skip = 0;
    std::optional<std::uint64_t> times = std::nullopt;
    FaultAction action;
    /// How many requests it has selected.
    std::uint64_t seen = 0;
    /// How many of these its action was carried out for.
    std::uint64_t applied = 0;
};

/// The faults that are applied to requests. Each fault counts the requests that it selects; it lets the first `skip`
/// pass and then applies to `times` of them. The first fault that applies to a request is carried out; those behind it
/// do not count as applied.
class FaultPlan {
public:
    FaultPlan() = default;
    explicit FaultPlan(std::vector<Fault> faults) : faults_(std::move(faults)) {}

    bool isEmpty() const { return faults_.empty(); }

    /// Whether the computer decides about requests for this path.
    bool needsComputer(std::string_view path) const;

    /// Gives the computer that sends a request; called where a fault asks for it.
    using Computer = std::function<std::optional<std::string>()>;

    /// Counts a request. Gives the fault that applies to it, which is valid until the plan changes; null for none.
    const Fault* select(std::string_view path, const Computer& computer);

    /// The place of one of its faults, "faults[0]".
    std::string placeOf(const Fault& fault) const;
    std::size_t indexOf(const Fault& fault) const { return static_cast<std::size_t>(&fault - faults_.data()); }

    /// {"faults":[…]}, each fault as it was given, with "seen" and "applied".
    std::string json() const;

private:
    std::vector<Fault> faults_;
};

/// Whether the text matches the pattern, in which "*" matches any run of characters.
bool matches(std::string_view pattern, std::string_view text);

} // namespace webservice
