#include "Servers/WebService.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace Benchmarks {

namespace {

std::string firstLine(int descriptor) {
    std::string line;
    for (char character = 0; ::read(descriptor, &character, 1) == 1 && character != '\n';)
        line += character;
    return line;
}

} // namespace

WebService::WebService(std::string_view item) {
    folder_.write("outbox/" + std::string(item), "x");
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    output_.reset(pipe[0]);
    process_ = ::fork();
    if (process_ == 0) {
        ::dup2(pipe[1], STDOUT_FILENO);
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        ::execl(QUENMARK_WEBSERVICE, "quenmark-webservice", "--listen", "127.0.0.1:0", "--data", folder_.path().c_str(),
                nullptr);
        ::_exit(127);
    }
    ::close(pipe[1]);
    constexpr std::string_view beginning = "listening on ";
    const std::string line = firstLine(output_.get());
    if (!line.starts_with(beginning))
        throw std::runtime_error("quenmark-webservice does not start");
    host_ = line.substr(beginning.size());
}

WebService::~WebService() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
}

} // namespace Benchmarks
