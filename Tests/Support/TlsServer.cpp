#include "Support/TlsServer.h"

#include "Support/Command.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace TestSupport {

namespace {

[[noreturn]] void becomeServer(std::vector<std::string> arguments, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(::open("/dev/null", O_RDWR), STDERR_FILENO);
    ::dup2(output, STDOUT_FILENO);
    std::vector<char*> texts;
    for (std::string& argument : arguments)
        texts.push_back(argument.data());
    texts.push_back(nullptr);
    ::execvp("openssl", texts.data());
    ::_exit(127);
}

/// The port in the line that begins with "ACCEPT".
std::string portFrom(int output) {
    std::string text;
    std::array<char, 256> piece{};
    while (true) {
        const auto line = text.find("ACCEPT ");
        const auto end = line == std::string::npos ? line : text.find('\n', line);
        if (end != std::string::npos)
            return text.substr(text.rfind(':', end) + 1, end - text.rfind(':', end) - 1);
        const auto count = ::read(output, piece.data(), piece.size());
        if (count <= 0)
            throw std::runtime_error("openssl s_server does not start");
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

TlsServer::TlsServer(const std::vector<std::string>& options) {
    const std::string certificate = folder_.path("certificate.pem");
    const std::string key = folder_.path("key.pem");
    const auto made =
        runCommand({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate,
                    "-days", "2", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"});
    if (made.status != 0)
        throw std::runtime_error("openssl req: " + made.errors);
    std::vector<std::string> command = {"openssl",   "s_server", "-accept", "127.0.0.1:0", "-cert",
                                        certificate, "-key",     key,       "-www"};
    command.insert(command.end(), options.begin(), options.end());
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("pipe2");
    process_ = ::fork();
    if (process_ == 0)
        becomeServer(command, pipe[1]);
    ::close(pipe[1]);
    port_ = portFrom(pipe[0]);
    ::close(pipe[0]);
}

TlsServer::~TlsServer() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

std::string TlsServer::url(std::string_view target) const {
    return ("https://127.0.0.1:" + port_).append(target);
}

} // namespace TestSupport
