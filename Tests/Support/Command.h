#pragma once

#include <string>
#include <vector>

namespace TestSupport {

/// How a command ended, and what it wrote.
struct CommandResult {
    /// The exit status; 128 and the signal's number where a signal ended it, -1 where it did not end in time.
    int status = -1;
    std::string output;
    std::string errors;
};

/// Runs a command, found on PATH, while the run loop of this process goes on. Its standard input is empty. After
/// 60 seconds it is killed.
CommandResult runCommand(const std::vector<std::string>& arguments);

} // namespace TestSupport
