#include "LocalNginx.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

std::uint16_t freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto address = loopback(0);
    socklen_t length = sizeof address;
    const bool bound = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                       ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(socket);
    if (!bound)
        throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

bool accepts(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = loopback(port);
    const bool connected = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

} // namespace

LocalNginx::LocalNginx(const std::string& jsonAnswer) : port_(freePort()) {
    std::string folder = (std::filesystem::temp_directory_path() / "benchmark-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    folder_ = folder;
    std::ofstream(folder_ + "/nginx.conf")
        << "daemon off;\nmaster_process off;\npid " << folder_ << "/pid;\nerror_log " << folder_
        << "/error.log;\nevents { worker_connections 64; }\nhttp {\n"
           "  access_log off;\n  keepalive_requests 1000000000;\n"
           "  client_body_temp_path "
        << folder_ << ";\n  server {\n    listen " << host()
        << ";\n    default_type application/json;\n    location / { return 200 '" << jsonAnswer << "'; }\n  }\n}\n";
    const std::string configuration = folder_ + "/nginx.conf";
    const std::array<const char*, 6> arguments{"nginx", "-p", folder_.c_str(), "-c", configuration.c_str(), nullptr};
    const std::array<const char*, 2> environment{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", nullptr};
    ::setenv("PATH", ((std::getenv("PATH") != nullptr ? std::getenv("PATH") : "") + std::string(":/usr/sbin")).c_str(),
             1);
    if (::posix_spawnp(&process_, "nginx", nullptr, nullptr, const_cast<char* const*>(arguments.data()),
                       const_cast<char* const*>(environment.data())) != 0)
        throw std::runtime_error("nginx cannot be started; it is needed as the server");
    awaitStart();
}

void LocalNginx::awaitStart() const {
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (accepts(port_))
            return;
        if (::waitpid(process_, nullptr, WNOHANG) == process_)
            break;
        ::poll(nullptr, 0, 50);
    }
    throw std::runtime_error("nginx does not start: see " + folder_ + "/error.log");
}

LocalNginx::~LocalNginx() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}
