#pragma once

#include <string>
#include <utility>

namespace Tools {

/// How something stands that the service needs.
enum class CheckState {
    Ok,
    /// The service works, or will once it is started.
    Warning,
    /// Items do not arrive.
    Failure,
};

/// The result of one check. No text of it steers a terminal.
struct Check {
    /// What was looked at: one or two words.
    std::string check;
    CheckState state = CheckState::Ok;
    /// What was found.
    std::string detail;
    /// A sentence that says what to do; empty where nothing is to be done.
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
