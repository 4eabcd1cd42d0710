#include "Support/RunningJournal.h"

#include "Platform/Files/FileDescriptor.h"
#include "Support/Polling.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace TestSupport {

RunningJournal::RunningJournal() {
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("run", "/run", "tmpfs", 0, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "mount");
    std::filesystem::create_directories("/run/systemd/journal");
    process_ = ::fork();
    if (process_ == 0) {
        const int nowhere = ::open("/dev/null", O_RDWR);
        ::dup2(nowhere, STDERR_FILENO);
        ::execl("/usr/lib/systemd/systemd-journald", "systemd-journald", nullptr);
        ::_exit(127);
    }
}

RunningJournal::~RunningJournal() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

bool RunningJournal::write(const std::string& program, const std::string& message) const {
    const std::string fields = "MESSAGE=" + message + "\nPRIORITY=4\nSYSLOG_IDENTIFIER=" + program + "\n";
    const Platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string("/run/systemd/journal/socket").copy(address.sun_path, sizeof address.sun_path - 1);
    return pollUntil([&] {
        return ::sendto(socket.get(), fields.data(), fields.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                        sizeof address) > 0;
    });
}

} // namespace TestSupport
