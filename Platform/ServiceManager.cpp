#include "Platform/ServiceManager.h"

#include "Platform/Files/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Platform::ServiceManager {

namespace {

std::string_view socketName() {
    const char* name = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    return name == nullptr ? "" : name;
}

} // namespace

bool isThere() {
    return !socketName().empty();
}

void notify(const std::string& assignments) {
    const auto name = socketName();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.empty() || name.size() > sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, name.data(), name.size());
    // An abstract name (unix(7)) is written with "@" in the place of its first byte.
    if (name.front() == '@')
        address.sun_path[0] = '\0';
    // Kept open, so that notifications can be sent when the process is out of descriptors.
    static FileDescriptor socket;
    if (!socket)
        socket.reset(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    ::sendto(socket.get(), assignments.data(), assignments.size(), MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&address), length);
}

} // namespace Platform::ServiceManager
