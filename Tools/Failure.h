#pragma once

#include <stdexcept>
#include <string>

namespace Tools {

/// How the program ends; the numbers are those of sysexits.h.
enum class ExitStatus : int {
    Success = 0,
    /// Of sysexits.h no number fits.
    ChecksFailed = 1,
    Usage = 64,
    DataError = 65,
    NoInput = 66,
    Unavailable = 69,
    Software = 70,
    CannotCreate = 73,
    InputOutput = 74,
    TimedOut = 75,
    Protocol = 76,
    Configuration = 78,
};

/// What the exit statuses mean, for the program's help.
std::string describedExitStatuses();

/// Ends a verb with a status and one message; an empty text prints none.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

} // namespace Tools
