#include "Platform/Journal.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Loop/Signals.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Platform::Journal {

namespace {

sockaddr_un journalAddress() {
    constexpr std::string_view path = "/run/systemd/journal/socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    return address;
}

/// A value with line feeds follows its length, a 64-bit number in little-endian order, so that nothing in it is a
/// field.
void appendField(std::string& fields, std::string_view name, std::string_view value) {
    fields.append(name);
    if (value.find('\n') == std::string_view::npos) {
        fields.append("=").append(value).append("\n");
        return;
    }
    fields += '\n';
    for (std::uint64_t size = value.size(), byte = 0; byte < sizeof size; ++byte)
        fields += static_cast<char>(size >> (8 * byte) & 0xFF);
    fields.append(value).append("\n");
}

int sendMessage(int socket, msghdr& message) {
    sockaddr_un address = journalAddress();
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    ssize_t sent = -1;
    do {
        sent = ::sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent < 0 ? errno : 0;
}

/// Sends the descriptor of a sealed file in memory, for fields that no datagram holds.
int sendFile(int socket, std::string_view fields) {
    const FileDescriptor file(::memfd_create("journal-entry", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file)
        return errno;
    const BlockedSignals blocked{SIGXFSZ};
    while (!fields.empty()) {
        const auto written = ::write(file.get(), fields.data(), fields.size());
        if (written < 0)
            return errno;
        fields.remove_prefix(static_cast<std::size_t>(written));
    }
    if (::fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0)
        return errno;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = file.get();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    return sendMessage(socket, message);
}

} // namespace

bool isStandardError() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

int send(std::string_view message, int priority) {
    std::string fields;
    appendField(fields, "MESSAGE", message);
    appendField(fields, "PRIORITY", std::to_string(priority));
    appendField(fields, "SYSLOG_IDENTIFIER", program_invocation_short_name);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket)
        return errno;
    iovec piece{fields.data(), fields.size()};
    msghdr datagram{};
    datagram.msg_iov = &piece;
    datagram.msg_iovlen = 1;
    const int error = sendMessage(socket.get(), datagram);
    return error == EMSGSIZE ? sendFile(socket.get(), fields) : error;
}

} // namespace Platform::Journal
