#include "EndToEnd/ChildService.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
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
    process_ = ::fork();
    if (process_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (process_ > 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(::open(log.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666), STDERR_FILENO);
    ::execvp(arguments.front(), arguments.data());
    ::_exit(127);
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
