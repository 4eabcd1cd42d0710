#include "Servers/Nginx.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace Benchmarks {

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

std::uint16_t freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto address = loopback(0);
    socklen_t length = sizeof address;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::system_error(errno, std::generic_category(), "a free port");
    ::close(probe);
    return ntohs(address.sin_port);
}

bool listens(std::uint16_t port) {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = loopback(port);
    const bool connected = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return connected;
}

} // namespace

Nginx::Nginx(const std::string& locations, const std::string& tls) : port_(freePort()) {
    const auto& path = folder_.path();
    std::string temporaries;
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        temporaries += "  " + std::string(kind) + "_temp_path " + path + "/" + kind + ";\n";
    const auto configuration =
        folder_.write("nginx.conf", "daemon off;\nmaster_process off;\npid " + path + "/pid;\nerror_log " + path +
                                        "/error.log;\nevents { worker_connections 20000; }\nhttp {\n" + temporaries +
                                        "  log_format time '$msec';\n  access_log off;\n  sendfile on;\n  tcp_nopush "
                                        "on;\n  keepalive_requests 10000000;\n"
                                        "  keepalive_timeout 600s;\n  server {\n    listen 127.0.0.1:" +
                                        std::to_string(port_) + " backlog=4096" +
                                        (tls.empty() ? ";\n" : " ssl;\n" + tls) + locations + "\n  }\n}\n");
    process_ = ::fork();
    if (process_ == 0) {
        ::execlp("nginx", "nginx", "-e", (path + "/error.log").c_str(), "-c", configuration.c_str(), nullptr);
        ::_exit(127);
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!listens(port_)) {
        if (::waitpid(process_, nullptr, WNOHANG) != 0 || std::chrono::steady_clock::now() > end)
            throw std::runtime_error("nginx does not start");
        ::poll(nullptr, 0, 20);
    }
}

Nginx::~Nginx() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
}

} // namespace Benchmarks
