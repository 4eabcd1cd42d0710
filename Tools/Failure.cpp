#include "Tools/Failure.h"

#include <array>
#include <utility>

namespace Tools {

namespace {

using enum ExitStatus;

constexpr std::array meanings{
    std::pair{Success, "success; for a call: status 0"},
    std::pair{ChecksFailed, "a check of the doctor is a failure"},
    std::pair{Usage, "wrong usage: an unknown verb, option, operation or key"},
    std::pair{DataError, "the input is not valid, or cannot be written as JSON (status 4)"},
    std::pair{NoInput, "the file, folder or preference is not there"},
    std::pair{Unavailable, "no network (status 1), or the bus, service or server cannot be reached"},
    std::pair{Software, "the response does not have the form of the operation's response"},
    std::pair{CannotCreate, "a file or folder cannot be made"},
    std::pair{InputOutput, "the transfer failed (status 2), or reading or writing did"},
    std::pair{TimedOut, "no response in time; for status: an engine has a problem, or none was started"},
    std::pair{Protocol, "the response is not JSON (status 5), or the server refused"},
    std::pair{Configuration, "preferences or deployment settings are malformed, or one that is needed is not set"},
};

} // namespace

std::string describedExitStatuses() {
    std::string text = "Exit status:";
    for (const auto& [status, meaning] : meanings) {
        const std::string number = std::to_string(static_cast<int>(status));
        text += "\n  " + number + std::string(4 - number.size(), ' ') + meaning;
    }
    return text;
}

} // namespace Tools
