#pragma once

#include <string>
#include <utility>

namespace Tools {

/// The state of something that the service needs.
enum class CheckState {
    Ok,
    /// The service works, or will once it is started.
    Warning,
    /// Items do not arrive.
    Failure,
};

/// The result of one check. Its texts have no control characters.
struct Check {
    /// The subject, in one or two words.
    std::string check;
    CheckState state = CheckState::Ok;
    /// What was found.
    std::string detail;
    /// What to do, as a sentence; empty where there is nothing to do.
    std::string advice;

    bool operator==(const Check&) const = default;
};

inline Check okCheck(std::string check, std::string detail) {
    return {std::move(check), CheckState::Ok, std::move(detail), ""};
}

inline Check warningCheck(std::string check, std::string detail, std::string advice) {
    return {std::move(check), CheckState::Warning, std::move(detail), std::move(advice)};
}

inline Check failureCheck(std::string check, std::string detail, std::string advice) {
    return {std::move(check), CheckState::Failure, std::move(detail), std::move(advice)};
}

} // namespace Tools
