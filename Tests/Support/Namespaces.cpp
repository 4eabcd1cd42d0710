#include "Support/Namespaces.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

namespace {

void writeFile(const char* path, const std::string& content) {
    std::ofstream file(path);
    file << content;
    file.close();
    if (!file)
        throw std::runtime_error(std::string("cannot write ") + path);
}

/// Takes new namespaces; a user that may not have them takes them in a user namespace where it is root.
void enter(int namespaces) {
    if (::unshare(namespaces) == 0)
        return;
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (errno != EPERM || ::unshare(namespaces | CLONE_NEWUSER) != 0)
        throw std::system_error(errno, std::generic_category(), "this machine refuses namespaces (unshare(2))");
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + user + " 1");
    writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

bool runInThisProcess(int namespaces, const std::function<bool()>& body) {
    try {
        enter(namespaces);
        return body();
    } catch (const std::exception& exception) {
        std::cerr << "failed in namespaces of its own: " << exception.what() << std::endl;
        return false;
    }
}

} // namespace

bool succeedsInNamespaces(int namespaces, const std::function<bool()>& body) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        const bool good = runInThisProcess(namespaces, body);
        std::fflush(nullptr);
        ::_exit(good ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = -1;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

void refuseNetlinkSockets() {
    constexpr std::uint32_t family = offsetof(seccomp_data, args);
    std::array<sock_filter, 6> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_socket, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, family),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        throw std::system_error(errno, std::generic_category(), "seccomp");
}

void ip(const std::string& arguments) {
    if (std::system(("ip " + arguments).c_str()) != 0)
        throw std::runtime_error("ip " + arguments);
}

void ipBatch(const std::string& lines) {
    std::FILE* pipe = ::popen("ip -batch -", "we");
    if (pipe == nullptr)
        throw std::runtime_error("cannot run ip(8)");
    std::fputs(lines.c_str(), pipe);
    if (::pclose(pipe) != 0)
        throw std::runtime_error("ip " + lines);
}

} // namespace TestSupport
