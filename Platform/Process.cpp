#include "Platform/Process.h"

#include "Platform/Files/Posix.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <limits>
#include <string>

namespace Platform::Process {

std::uint64_t ownIdentifier() {
    return static_cast<std::uint64_t>(::getpid());
}

std::optional<Error> terminate(std::uint64_t identifier) {
    const std::string name = "process " + std::to_string(identifier);
    // 0 and negative numbers name groups of processes.
    constexpr auto greatest = static_cast<std::uint64_t>(std::numeric_limits<pid_t>::max());
    if (identifier == 0 || identifier > greatest)
        return Posix::error(name, EINVAL);
    if (::kill(static_cast<pid_t>(identifier), SIGTERM) != 0)
        return Posix::error(name);
    return std::nullopt;
}

} // namespace Platform::Process
