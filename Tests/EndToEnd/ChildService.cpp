#include "EndToEnd/ChildService.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>

namespace Quenmark {

ChildService::ChildService(const std::string& log, const std::vector<std::string>& tracer) {
    std::vector<std::string> command = tracer;
    command.emplace_back(QUENMARK_SERVICE);
    std::vector<char*> arguments;
    for (auto& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    // It ends with the bus, and the bus with the test.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666);
    const int error = ::posix_spawnp(&process_, arguments.front(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.front());
}

ChildService::~ChildService() {
    if (hasEnded())
        return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

bool ChildService::hasEnded() {
    int status = 0;
    if (!status_ && ::waitpid(process_, &status, WNOHANG) == process_)
        status_ = status;
    return status_.has_value();
}

std::optional<int> ChildService::endSignal() const {
    return status_ && WIFSIGNALED(*status_) ? std::optional(WTERMSIG(*status_)) : std::nullopt;
}

} // namespace Quenmark
